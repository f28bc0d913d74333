#include "durability/common/Place.hpp"
#include "durability/traced/OverwritingStorage.hpp"
#include "durability/traced/TracedCall.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace durability {
namespace {

using Bytes = Content::value_type;
using foundation::storage::vfs::StorageSystemReference;

/// All values since the last synchronisation, that of then first.
template <class T>
class History {
public:
    explicit History(T synchronised) : values_{std::move(synchronised)} {}

    void add(T value) {
        if (values_.back() != value) {
            values_.push_back(std::move(value));
        }
    }
    void synchronise() { values_.erase(values_.begin(), values_.end() - 1); }
    const std::vector<T>& values() const noexcept { return values_; }

private:
    std::vector<T> values_;
};

/// A content whole; cut off; with blocks allocated but not written; with blocks as they were when synchronised.
void addVariants(std::set<Content>& contents, const Bytes& content, const Bytes& synchronised) {
    const std::size_t half = content.size() / 2;
    Bytes cut = content;
    cut.resize(half);
    Bytes zeroed = cut;
    zeroed.resize(content.size());
    Bytes mixed = content;
    std::copy_n(synchronised.begin(), std::min(half, synchronised.size()), mixed.begin());
    contents.insert({content, std::move(cut), std::move(zeroed), std::move(mixed), Bytes(content.size())});
}

ino_t inodeOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

/// What the disk does when it is to synchronise; anything but all has to show up as damage.
enum class Disk { Honest, IgnoresFiles, IgnoresFolders };

/// Lets the power fail at each of the system calls of a save. The disk then holds, of each file, any of its contents
/// since it was synchronised, whole or torn; and the name stands for any of the files that it has stood for since the
/// folder was.
class PowerLoss {
public:
    PowerLoss(const Scenario& scenario, const Place& place, Disk disk)
        : oracle_(scenario), place_(place), disk_(disk), target_(inodeOf(place.file())) {
        if (const Content content = place.content()) {
            files_.emplace(inodeOf(place.file()), *content);
        }
    }

    void operator()(const TracedCall& call) {
        if (call.entering) {
            // The save returns to its caller before its process ends.
            saved_ = call.number == SYS_exit_group && call.arguments[0] == static_cast<std::uint64_t>(Outcome::Saved);
        } else if (call.touchesFiles()) {
            observe();
            if ((call.number == SYS_fsync || call.number == SYS_fdatasync) && call.result == 0) {
                synchronise(call.pathOfDescriptor());
            }
        }
        for (const Content& content : possibleContents()) {
            damages_ += isSound(content) ? 0 : 1;
        }
    }

    /// The states of the disk with neither the old file nor the new, or not the new after the save.
    std::size_t damages() const noexcept { return damages_; }

private:
    void observe() {
        for (const auto& entry : std::filesystem::directory_iterator(place_.folder().path())) {
            const std::string content = place_.folder().get(entry.path().filename());
            // Of a new file nothing is on the disk.
            files_.try_emplace(inodeOf(entry.path()), Bytes()).first->second.add(Bytes(content.begin(), content.end()));
        }
        target_.add(inodeOf(place_.file()));
    }

    void synchronise(const std::string& path) {
        const ino_t inode = inodeOf(path);
        if (inode == inodeOf(place_.folder().path())) {
            disk_ == Disk::IgnoresFolders ? void() : target_.synchronise();
        } else if (disk_ != Disk::IgnoresFiles) {
            files_.at(inode).synchronise();
        }
    }

    std::set<Content> possibleContents() const {
        std::set<Content> contents;
        for (const ino_t inode : target_.values()) {
            if (inode == 0) {
                contents.insert(std::nullopt);
                continue;
            }
            const auto& history = files_.at(inode).values();
            contents.insert(history.front());
            for (auto content = history.begin() + 1; content != history.end(); ++content) {
                addVariants(contents, *content, history.front());
            }
        }
        return contents;
    }

    bool isSound(const Content& content) {
        if (!saved_ && oracle_.isOld(content)) {
            return true;
        }
        return sound_.count(content) != 0 || (oracle_.isNew(content) && sound_.insert(content).second);
    }

    Oracle oracle_;
    const Place& place_;
    Disk disk_;
    std::map<ino_t, History<Bytes>> files_;
    History<ino_t> target_;    ///< what the file's name stands for; 0 where it is not there
    std::set<Content> sound_;  ///< of the states like the new file, those looked at already
    bool saved_ = false;
    std::size_t damages_ = 0;
};

class PowerLosses : public testing::TestWithParam<Scenario> {
protected:
    static std::size_t damages(Disk disk, bool overwriting = false) {
        Place place(Place::Kind::Local);
        place.reset(GetParam().old());
        PowerLoss powerLoss(GetParam(), place, disk);
        const auto storage =
            overwriting ? StorageSystemReference(std::make_shared<OverwritingStorage>()) : place.storage();
        const auto save = [&] { return static_cast<int>(GetParam().save(storage, place.file())); };
        EXPECT_EQ(static_cast<Outcome>(runTraced(save, std::ref(powerLoss))), Outcome::Saved);
        return powerLoss.damages();
    }
};

TEST_P(PowerLosses, LeaveTheOldFileOrTheNew) { EXPECT_EQ(damages(Disk::Honest), 0U); }

TEST_P(PowerLosses, AreFoundToDamageWhatIsNotMadeDurable) {
    EXPECT_GT(damages(Disk::IgnoresFiles), 0U);
    EXPECT_GT(damages(Disk::Honest, true), 0U);
    if (!Oracle(GetParam()).isNew(GetParam().old())) {
        EXPECT_GT(damages(Disk::IgnoresFolders), 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, PowerLosses, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
