#include "durability/common/Place.hpp"

#include <boost/scope_exit.hpp>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace durability {
namespace {

/// Saves more than the disks of these tests hold.
void expectOldFileAfterSave(const std::filesystem::path& disk) {
    const auto writeMuch = [](flowbook::FlowbookFileWriter& writer) { writer.write(snapshotWithImage(5'000'000)); };
    const Scenario scenario{"WriteMuch", scenarios().back().old, writeMuch};
    const Place place(Place::Local, scenario.old, disk);
    EXPECT_EQ(place.save(scenario), Outcome::Failed);
    EXPECT_EQ(place.content(), scenario.old);
}

TEST(FullDisk, LeavesTheOldFile) {
    const support::TempDir disk;
    if (::mount("tmpfs", disk.path().c_str(), "tmpfs", 0, "size=1m") != 0) {
        GTEST_SKIP() << "mounting a small disk is not permitted: " << std::generic_category().message(errno);
    }
    BOOST_SCOPE_EXIT_ALL(&) { ::umount2(disk.path().c_str(), MNT_DETACH); };
    expectOldFileAfterSave(disk.path());
}

TEST(FileSizeLimit, LeavesTheOldFile) {
    const auto saveWithLimit = [] {
        const rlimit limit{1'000'000, RLIM_INFINITY};
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        expectOldFileAfterSave("/dev/shm");
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(saveWithLimit(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace durability
