#include "durability/traced/TracedCall.hpp"
#include "support/Flowbooks.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace durability {
namespace {

using support::Bytes;

/// All values since the last synchronisation, that of then first.
template <class T>
using History = std::vector<T>;

template <class T>
void add(History<T>& history, T value) {
    if (history.back() != value) {
        history.push_back(std::move(value));
    }
}

/// A content whole; cut off; with blocks allocated but not written; with blocks as they were when synchronised.
void addVariants(std::set<Content>& contents, const Bytes& content, const Bytes& synchronised) {
    const std::size_t half = content.size() / 2;
    const Bytes cut(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(half));
    Bytes zeroed = cut;
    zeroed.resize(content.size());
    Bytes mixed = content;
    std::copy_n(synchronised.begin(), std::min(half, synchronised.size()), mixed.begin());
    contents.insert({content, cut, zeroed, mixed, Bytes(content.size())});
}

/// 0 where there is no file.
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
        : oracle_(scenario), place_(place), disk_(disk), target_{inodeOf(place.file)} {
        files_[target_.front()] = {place.content().value_or(Bytes())};
    }

    void operator()(const TracedCall& call) {
        const auto& registers = call.registers;
        if (call.entering) {
            // The save returns to its caller before its process ends.
            saved_ = registers.orig_rax == SYS_exit_group && static_cast<Outcome>(registers.rdi) == Outcome::Saved;
        } else if (call.touchesFiles()) {
            observe();
            if ((registers.orig_rax == SYS_fsync || registers.orig_rax == SYS_fdatasync) && registers.rax == 0) {
                synchroniseFile("/proc/" + std::to_string(call.process) + "/fd/" + std::to_string(registers.rdi));
            }
        }
        const auto contents = possibleContents();
        damages_ += std::count_if(contents.begin(), contents.end(), [&](const auto& c) { return !isSound(c); });
    }

    /// The states of the disk with neither the old file nor the new, or not the new after the save.
    std::ptrdiff_t damages() const noexcept { return damages_; }

private:
    void observe() {
        for (const auto& entry : std::filesystem::directory_iterator(place_.folder.path())) {
            auto& history = files_.try_emplace(inodeOf(entry.path()), 1).first->second;  // nothing is on the disk yet
            add(history, support::bytes(support::readFile(entry.path())));
        }
        add(target_, inodeOf(place_.file));
    }

    void synchroniseFile(const std::string& path) {
        const ino_t inode = inodeOf(path);
        const bool isFolder = inode == inodeOf(place_.folder.path());
        if (isFolder && disk_ != Disk::IgnoresFolders) {
            target_ = {target_.back()};
        } else if (!isFolder && disk_ != Disk::IgnoresFiles) {
            files_.at(inode) = {files_.at(inode).back()};
        }
    }

    std::set<Content> possibleContents() const {
        std::set<Content> contents;
        for (const ino_t inode : target_) {
            const auto& history = files_.at(inode);
            contents.insert(inode == 0 ? std::nullopt : Content(history.front()));
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
        const auto [known, unknown] = isNew_.try_emplace(content);
        return known->second = unknown ? oracle_.isNew(content) : known->second;
    }

    Oracle oracle_;
    const Place& place_;
    Disk disk_;
    std::map<ino_t, History<Bytes>> files_;
    History<ino_t> target_;  ///< what the file's name stands for
    std::map<Content, bool> isNew_;
    bool saved_ = false;
    std::ptrdiff_t damages_ = 0;
};

std::ptrdiff_t damages(const Scenario& scenario, Disk disk) {
    const Place place(Place::Local, scenario.old);
    PowerLoss powerLoss(scenario, place, disk);
    EXPECT_EQ(saveTraced(scenario, place, std::ref(powerLoss)), Outcome::Saved);
    return powerLoss.damages();
}

class PowerLosses : public testing::TestWithParam<Scenario> {};

TEST_P(PowerLosses, LeaveTheOldFileOrTheNew) { EXPECT_EQ(damages(GetParam(), Disk::Honest), 0); }

TEST(PowerLossesOnPurpose, AreFoundToDamageWhatIsNotMadeDurable) {
    const Scenario& create = scenarios().front();
    EXPECT_GT(damages(create, Disk::IgnoresFiles), 0);
    EXPECT_GT(damages(create, Disk::IgnoresFolders), 0);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, PowerLosses, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
