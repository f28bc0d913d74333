#include "durability/faults/DiskModel.hpp"
#include "durability/faults/TracedSave.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace durability {
namespace {

using foundation::storage::vfs::StorageSystemReference;

/// What the disk does when it is to synchronise; anything but all has to show up as damage.
enum class Disk { Honest, IgnoresFiles, IgnoresFolders };

/// Lets the power fail at each of the system calls of a save.
class PowerLoss {
public:
    PowerLoss(const Scenario& scenario, const Place& place, Disk disk)
        : oracle_(scenario), disk_(disk), model_(place) {}

    void operator()(const TracedCall& call) {
        if (call.entering()) {
            // The save returns to its caller before its process ends.
            saved_ = call.number() == SYS_exit_group && call.argument(0) == static_cast<std::uint64_t>(Outcome::Saved);
        } else if (touchesFiles(call)) {
            model_.observe();
            synchronise(call);
        }
        checkStates();
    }

    /// The states of the disk with neither the old file nor the new, or not the new after the save.
    std::size_t damages() const noexcept { return damages_; }

private:
    void synchronise(const TracedCall& call) {
        const bool isSync = call.number() == SYS_fsync || call.number() == SYS_fdatasync;
        if (isSync && call.result() == 0 && disk_ != ignoring(call.pathOf(call.argument(0)))) {
            model_.synchronise(call.pathOf(call.argument(0)));
        }
    }
    static Disk ignoring(const std::string& path) {
        return std::filesystem::is_directory(path) ? Disk::IgnoresFolders : Disk::IgnoresFiles;
    }

    void checkStates() {
        for (const Content& content : model_.possibleContents()) {
            damages_ += isSound(content) ? 0 : 1;
        }
    }
    bool isSound(const Content& content) {
        if (!saved_ && oracle_.isOld(content)) {
            return true;
        }
        return sound_.count(content) != 0 || (oracle_.isNew(content) && sound_.insert(content).second);
    }

    Oracle oracle_;
    Disk disk_;
    DiskModel model_;
    std::set<Content> sound_;  ///< of the states like the new file, those looked at already
    bool saved_ = false;
    std::size_t damages_ = 0;
};

std::size_t damagesByPowerLoss(const Scenario& scenario, Disk disk, bool overwriting = false) {
    Place place(Place::Kind::Local);
    place.reset(scenario.old());
    PowerLoss powerLoss(scenario, place, disk);
    const auto storage = overwriting ? overwritingStorage() : place.storage();
    const int ended = saveTraced(scenario, place, storage, std::ref(powerLoss));
    EXPECT_EQ(static_cast<Outcome>(ended), Outcome::Saved);
    return powerLoss.damages();
}

class PowerLosses : public testing::TestWithParam<Scenario> {};

TEST_P(PowerLosses, LeaveTheOldFileOrTheNew) { EXPECT_EQ(damagesByPowerLoss(GetParam(), Disk::Honest), 0U); }

TEST_P(PowerLosses, AreFoundToDamageWhatIsNotMadeDurable) {
    EXPECT_GT(damagesByPowerLoss(GetParam(), Disk::IgnoresFiles), 0U);
    if (!Oracle(GetParam()).isNew(GetParam().old())) {
        EXPECT_GT(damagesByPowerLoss(GetParam(), Disk::IgnoresFolders), 0U);
    }
    EXPECT_GT(damagesByPowerLoss(GetParam(), Disk::Honest, true), 0U);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, PowerLosses, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
