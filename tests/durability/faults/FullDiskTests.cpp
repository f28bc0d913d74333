#include "durability/common/Place.hpp"
#include "durability/common/Scenario.hpp"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace durability {
namespace {

/// More than the disks of these tests hold.
void writeMuch(flowbook::FlowbookFileWriter& writer) { writer.write(snapshotWithImage(5 * 1000 * 1000)); }

void expectOldFileAfterSave(Place& place) {
    const Content& old = scenarios().back().old();
    place.reset(old);
    const Scenario scenario{"WriteMuch", nullptr, writeMuch};
    EXPECT_EQ(scenario.save(place.storage(), place.file()), Outcome::CloseFailed);
    EXPECT_EQ(place.content(), old);
    EXPECT_EQ(place.leftovers(), std::vector<std::string>());
}

/// A disk of 1 MB; empty when this process may not mount one.
class SmallDisk {
public:
    SmallDisk() : mounted_(::mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, "size=1m") == 0) {}
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() {
        if (mounted_) {
            ::umount2(folder_.path().c_str(), MNT_DETACH);
        }
    }

    bool mounted() const noexcept { return mounted_; }
    const std::filesystem::path& path() const noexcept { return folder_.path(); }

private:
    support::TempDir folder_;
    bool mounted_;
};

TEST(FullDisk, LeavesTheOldFile) {
    const SmallDisk disk;
    if (!disk.mounted()) {
        GTEST_SKIP() << "mounting a small disk is not permitted: " << std::generic_category().message(errno);
    }
    Place place(Place::Kind::Local, disk.path());
    expectOldFileAfterSave(place);
}

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        ::signal(SIGXFSZ, signalBefore_);
    }

private:
    rlimit before_{};
    sighandler_t signalBefore_ = ::signal(SIGXFSZ, SIG_IGN);
};

TEST(FileSizeLimit, LeavesTheOldFile) {
    Place place(Place::Kind::Local);
    const FileSizeLimit limit(1000 * 1000);
    expectOldFileAfterSave(place);
}

}  // namespace
}  // namespace durability
