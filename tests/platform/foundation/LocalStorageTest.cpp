#include "foundation/storage/vfs/LocalStorage.hpp"

#include "foundation/storage/vfs/FileLock.hpp"
#include "foundation/storage/vfs/LocalFile.hpp"
#include "foundation/storage/vfs/Temporaries.hpp"
#include "support/TempDir.hpp"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <optional>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

using namespace foundation::storage::vfs;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

/// The system call that fails, or the two after each other, but for its first `passing` calls.
struct {
    std::string_view call;
    int error, passing;

    bool is(std::string_view name) const {
        return name == call.substr(0, call.find(' ')) || name == call.substr(call.find(' ') + 1);
    }
} failing;

/// Each takes no time, and puts the clock ahead by a second.
int sleeps = 0;

/// Seconds for which the clock that only goes on is ahead besides.
int ahead = 0;

/// What other programs do just before the first exchange, the second one and so on.
std::vector<std::function<void()>> beforeExchange;

template <class Result, class... Arguments>
Result scripted(const char* name, long number, Arguments... arguments) {
    if (failing.is(name) && failing.passing-- <= 0) {
        errno = failing.error;
        return -1;
    }
    return static_cast<Result>(::syscall(number, arguments...));
}

}  // namespace

// Definitions in the executable come before those of the C library.
extern "C" {

ssize_t write(int fd, const void* from, size_t count) { return scripted<ssize_t>("write", SYS_write, fd, from, count); }

ssize_t copy_file_range(int in, off64_t* inAt, int out, off64_t* outAt, size_t count, unsigned flags) {
    return scripted<ssize_t>("copy_file_range", SYS_copy_file_range, in, inAt, out, outAt, count, flags);
}

int fchmod(int fd, mode_t mode) noexcept { return scripted<int>("fchmod", SYS_fchmod, fd, mode); }

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
    now->tv_sec += sleeps + (clock == CLOCK_MONOTONIC ? ahead : 0);
    return result;
}

int nanosleep(const timespec*, timespec*) { return ++sleeps, 0; }

int flock(int fd, int operation) noexcept { return scripted<int>("flock", SYS_flock, fd, operation); }

int unlinkat(int dir, const char* name, int flags) noexcept {
    return scripted<int>("unlinkat", SYS_unlinkat, dir, name, flags);
}

ssize_t flistxattr(int fd, char* list, size_t size) noexcept {
    return scripted<ssize_t>("flistxattr", SYS_flistxattr, fd, list, size);
}

ssize_t fgetxattr(int fd, const char* name, void* value, size_t size) noexcept {
    return scripted<ssize_t>("fgetxattr", SYS_fgetxattr, fd, name, value, size);
}

int fsetxattr(int fd, const char* name, const void* value, size_t size, int flags) noexcept {
    return scripted<int>("fsetxattr", SYS_fsetxattr, fd, name, value, size, flags);
}

int fstat(int fd, struct stat* status) noexcept { return scripted<int>("fstat", SYS_fstat, fd, status); }

int fsync(int fd) { return scripted<int>("fsync", SYS_fsync, fd); }

int sync_file_range(int fd, off64_t from, off64_t count, unsigned flags) {
    return scripted<int>("sync_file_range", SYS_sync_file_range, fd, from, count, flags);
}

int linkat(int fromDir, const char* from, int toDir, const char* to, int flags) noexcept {
    return scripted<int>("linkat", SYS_linkat, fromDir, from, toDir, to, flags);
}

int renameat(int fromDir, const char* from, int toDir, const char* to) noexcept {
    return scripted<int>("renameat", SYS_renameat, fromDir, from, toDir, to);
}

int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) noexcept {
    if (flags == RENAME_EXCHANGE && !beforeExchange.empty()) {
        beforeExchange.front()();
        beforeExchange.erase(beforeExchange.begin());
    }
    return scripted<int>("renameat2", SYS_renameat2, fromDir, from, toDir, to, flags);
}

}  // extern "C"

namespace {

constexpr uid_t kOrdinaryUser = 65534;
constexpr gid_t kTheirGroup = 1234;
const char* const kAcl = "system.posix_acl_access";
const std::string kLarge(600'000, 'n');  // too much for a buffer, in halves too

/// rw- for the owner, --- for the group, rw- for user 1234, a mask of rw- and --- for others, in the kernel's form.
const std::string kSomeAcl("\2\0\0\0\1\0\6\0\xFF\xFF\xFF\xFF\2\0\6\0\xD2\4\0\0\4\0\0\0\xFF\xFF\xFF\xFF"
                           "\x10\0\6\0\xFF\xFF\xFF\xFF\x20\0\0\0\xFF\xFF\xFF\xFF",
                           44);

std::string attribute(const fs::path& file, const char* name) {
    std::string value(256, '\0');
    const ssize_t size = ::getxattr(file.c_str(), name, value.data(), value.size());
    return size < 0 ? "none" : value.substr(0, static_cast<std::size_t>(size));
}

bool setAttribute(const fs::path& file, const char* name, const std::string& value) {
    return ::setxattr(file.c_str(), name, value.data(), value.size(), 0) == 0;
}

std::pair<uid_t, gid_t> ownerOf(const fs::path& file) {
    struct stat status {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0) << file;
    return {status.st_uid, status.st_gid};
}

auto modeOf(const fs::path& file) { return static_cast<mode_t>(fs::status(file).permissions()); }

/// Ends a process with 0 when `work`, done by an ordinary user, returns true.
[[noreturn]] void exitAsOrdinaryUser(const std::function<bool()>& work) {
    const uid_t user = kOrdinaryUser;
    const bool isUser =
        ::setgroups(1, &kTheirGroup) == 0 && ::setresgid(user, user, user) == 0 && ::setresuid(user, user, user) == 0;
    std::_Exit((isUser || ::geteuid() != 0) && work() ? 0 : 1);
}

using Failure = std::optional<StorageErrorKind>;

class LocalStorageTest : public testing::Test {
protected:
    LocalStorageTest() { fs::permissions(folder_.path(), fs::perms::all); }
    ~LocalStorageTest() override {
        failing = {};
        beforeExchange.clear();
    }

    void put(const std::string& file, mode_t mode) const {
        folder_.put(file, "old");
        fs::permissions(folder_.path(file), fs::perms(mode));
    }

    /// What has failed stays failed.
    Failure save(const std::string& file, const std::string& content = "new") {
        std::unique_ptr<ReadableFile> old;
        std::unique_ptr<Replacement> replacement;
        try {
            const std::u16string name = folder_.name(file);
            old = storage_.exists(name) ? storage_.openForReading(name) : nullptr;
            replacement = storage_.beginReplacement(name, old.get());
            replacement->write(content.data(), content.size() / 2);
            replacement->write(&content[content.size() / 2], content.size() - content.size() / 2);
            replacement->commit();
            return std::nullopt;
        } catch (const StorageError& error) {
            EXPECT_NE(std::string(error.what()).find(file), std::string::npos) << error.what();
            failing = {};
            if (replacement != nullptr) {
                EXPECT_THROW(replacement->commit(), StorageError);
            }
            return error.kind();
        }
    }

    /// As if two hours had gone by.
    void age() const {
        ahead += 7200;
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(2));
        }
    }

    support::TempDir folder_;
    LocalStorage storage_;
};

TEST_F(LocalStorageTest, ReplacementKeepsLinksOwnerModeAndAttributes) {
    const fs::path file = folder_.path("file");
    fs::create_symlink("file", folder_.path("link"));
    for (const mode_t mode : {0600U, 0664U, 0755U}) {
        put("file", mode);
        save("link");
        EXPECT_EQ(folder_.get("file"), "new");
        EXPECT_EQ(modeOf(file), mode);
    }
    EXPECT_TRUE(fs::is_symlink(folder_.path("link")));
    fs::create_hard_link(file, folder_.path("second name"));
    put("file", 0755);
    save("file");
    EXPECT_EQ(folder_.get("second name"), "old");
    if (::chown(file.c_str(), 1234, 4321) == 0) {
        EXPECT_EQ(save("file"), std::nullopt);
        EXPECT_EQ(ownerOf(file), std::pair(1234U, 4321U));
        EXPECT_EQ(modeOf(file), 0755U);
    }
    for (const auto& [name, value] :
         {std::pair("user.colour", "blue"s), {"user.empty", ""s}, {"user.byte", "1"s}, {kAcl, kSomeAcl}}) {
        if (setAttribute(file, name, value)) {
            EXPECT_EQ(save("file"), std::nullopt);
            EXPECT_EQ(attribute(file, name), value) << name;
        }
    }
}

TEST_F(LocalStorageTest, AclsOfTheFolderAreForNewFilesOnly) {
    put("file", 0664);
    if (!setAttribute(folder_.path(), "system.posix_acl_default", kSomeAcl)) {
        GTEST_SKIP() << "no ACLs in this file system";
    }
    save("file");
    EXPECT_EQ(attribute(folder_.path("file"), kAcl), "none") << "more users may read it than before";
    EXPECT_EQ(modeOf(folder_.path("file")), 0664U);
    folder_.put("any", "");
    save("new");
    EXPECT_EQ(attribute(folder_.path("new"), kAcl), attribute(folder_.path("any"), kAcl));
    EXPECT_EQ(modeOf(folder_.path("new")), modeOf(folder_.path("any")));
}

TEST_F(LocalStorageTest, NewFilesGetTheModeThatTheUmaskGives) {
    for (const mode_t mask : {0077U, 0022U}) {
        const mode_t usual = ::umask(mask);
        save(std::to_string(mask));
        ::umask(usual);
        EXPECT_EQ(modeOf(folder_.path(std::to_string(mask))), 0666U & ~mask);
    }
}

TEST_F(LocalStorageTest, TemporariesArePrivate) {
    put("file", 0666);
    const auto old = storage_.openForReading(folder_.name("file"));
    const auto replacement = storage_.beginReplacement(folder_.name("file"), old.get());
    const auto creation = storage_.beginReplacement(folder_.name("new"), nullptr);
    ASSERT_TRUE(fs::remove(folder_.path("file")) && folder_.holdsTemporary());
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
        EXPECT_EQ(modeOf(entry.path()), 0600U) << entry.path();
    }
}

TEST_F(LocalStorageTest, AccessNeverGetsWiderWhenTheOwnerCannotBeKept) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a file of somebody else";
    }
    const std::tuple<mode_t, gid_t, mode_t> cases[] = {
        {0666, 0, 0666}, {0646, 0, 0644}, {0606, 0, 0600}, {06667, 0, 0666}, {0660, kTheirGroup, 0660}};
    for (const auto& [before, group, after] : cases) {
        folder_.put("file", "old");
        ASSERT_EQ(::chown(folder_.path("file").c_str(), 0, group), 0);
        fs::permissions(folder_.path("file"), fs::perms(before));
        EXPECT_EXIT(exitAsOrdinaryUser([&] { return !save("file"); }), testing::ExitedWithCode(0), "");
        EXPECT_EQ(modeOf(folder_.path("file")), after) << std::oct << before;
        EXPECT_EQ(ownerOf(folder_.path("file")), std::pair(kOrdinaryUser, group == 0 ? kOrdinaryUser : group));
        fs::remove(folder_.path("file"));
    }
}

TEST_F(LocalStorageTest, ProtectedFilesAndFoldersAreRefused) {
    fs::create_directory(folder_.path("closed"));
    put("read-only", 0444);
    put("closed/file", 0666);
    fs::permissions(folder_.path("closed"), fs::perms(0555));
    const auto denied = [&](const char* file) { return save(file) == StorageErrorKind::AccessDenied; };
    const auto allDenied = [&] { return denied("read-only") && denied("closed/file") && denied("closed/new"); };
    EXPECT_EXIT(exitAsOrdinaryUser(allDenied), testing::ExitedWithCode(0), "");
    EXPECT_EQ(folder_.get("read-only"), "old");
    fs::permissions(folder_.path("closed"), fs::perms(0755));
}

TEST_F(LocalStorageTest, FoldersThatCannotBeListedWillDo) {
    for (const mode_t mode : {0333, 01333}) {
        fs::create_directory(folder_.path("letters"));
        fs::permissions(folder_.path("letters"), fs::perms(mode));
        const auto twice = [&] { return !save("letters/file", "first") && !save("letters/file", kLarge); };
        EXPECT_EXIT(exitAsOrdinaryUser(twice), testing::ExitedWithCode(0), "");
        fs::permissions(folder_.path("letters"), fs::perms(0700));
        EXPECT_TRUE(folder_.get("letters/file") == kLarge);
        EXPECT_EQ(fs::remove_all(folder_.path("letters")), 2U) << "a temporary is left";
    }
}

TEST_F(LocalStorageTest, OnlyWholeRegularFilesAreAccepted) {
    fs::create_directory(folder_.path("folder"));
    fs::create_symlink("nowhere", folder_.path("dangling"));
    ASSERT_EQ(::mkfifo(folder_.path("fifo").c_str(), 0666), 0);
    for (const char* const file : {"folder", "fifo", "dangling"}) {
        EXPECT_THROW(storage_.openForReading(folder_.name(file)), StorageError) << file;
        EXPECT_THROW(storage_.beginReplacement(folder_.name(file), nullptr)->commit(), StorageError) << file;
    }
    EXPECT_EQ(save("absent folder/file"), StorageErrorKind::NotFound);
    EXPECT_EQ(save(std::string(255, 'x')), std::nullopt);
    const std::u16string name = folder_.name("x");
    for (const std::u16string& bad : {folder_.name(""), std::u16string(), u"a\xD800" + name, name + u'\0'}) {
        EXPECT_THROW(storage_.beginReplacement(bad, nullptr), StorageError);
    }
    put("shrinking", 0644);
    const auto file = storage_.openForReading(folder_.name("shrinking"));
    fs::resize_file(folder_.path("shrinking"), 1);
    EXPECT_THROW(file->read(0, std::string(3, ' ').data(), 3), StorageError);
    EXPECT_FALSE(storage_.exists(folder_.name("fifo/below")));
    EXPECT_THROW(storage_.exists(folder_.name(std::string(300, 'x'))), StorageError);
}

TEST_F(LocalStorageTest, HasTheKernelCopyWhatItCan) {
    folder_.put("source", kLarge);
    const auto source = storage_.openForReading(folder_.name("source"));
    for (const int passing : {0, 9}) {
        const auto replacement = storage_.beginReplacement(folder_.name(std::to_string(passing)), nullptr);
        failing = {"copy_file_range", EXDEV, passing};
        replacement->append(*source, 0, kLarge.size());
        EXPECT_LT(failing.passing, passing) << "the kernel was not asked";
        replacement->commit();
        EXPECT_TRUE(folder_.get(std::to_string(passing)) == kLarge);
    }
}

TEST_F(LocalStorageTest, WritesLargeContentToTheDiskAsItComes) {
    const std::string large(std::size_t{20} << 20, 'n');
    const std::pair<int, Failure> cases[] = {
        {EIO, StorageErrorKind::Other}, {ENOSPC, StorageErrorKind::NoSpace}, {ENOSYS, std::nullopt}};
    for (const auto& [error, failure] : cases) {
        folder_.put("file", "old");
        failing = {"sync_file_range", error, 0};
        EXPECT_EQ(save("file", large), failure);
        failing = {};
        EXPECT_TRUE(folder_.get("file") == (failure ? "old" : large)) << error;
    }
}

TEST_F(LocalStorageTest, SweepsOnlyStaleTemporariesOfItsOwn) {
    const std::tuple<std::string, int, bool> cases[] = {
        {".~pxflowbook-save-0123456789abcdef.tmp", 61, true},   {".~pxflowbook-save-0123456789abcdef.tmp", 59, false},
        {".~pxflowbook-save-0123456789abcdef-.tmp", 61, false}, {".~pxflowbook-save-0123456789abcdeg.tmp", 61, false},
        {".~pxflowbook-kept-0123456789abcdef.tmp", 61, false},  {".~pxflowbook-save-0123456789abcdef0.tmp", 61, false},
        {".~pxflowbook-save-0123456789abcdef.tm", 61, false},   {".~pxflowbook-save-.tmp", 61, false},
    };
    for (const std::string& old : {"old"s, kLarge}) {
        folder_.put("file", old);
        failing = {"unlinkat", EIO, 0};
        save("file");
        failing = {};
        ASSERT_TRUE(folder_.holdsTemporary()) << "which is the version that was replaced";
        age();
        save("file");
        EXPECT_FALSE(folder_.holdsTemporary());
    }
    const auto live = storage_.beginReplacement(folder_.name("live"), nullptr);
    age();
    save("file");
    live->commit();
    for (const auto& [temporary, minutes, swept] : cases) {
        put("file", 0644);
        put(temporary, 0644);
        save("file");
        EXPECT_TRUE(fs::exists(folder_.path(temporary))) << "a folder is listed again within an hour";
        ahead += 7200;
        fs::last_write_time(folder_.path(temporary), fs::file_time_type::clock::now() - std::chrono::minutes(minutes));
        save("file");
        EXPECT_NE(fs::remove(folder_.path(temporary)), swept) << temporary << " of " << minutes << " minutes";
    }
    const Descriptor unreadable(::open(folder_.path("file").c_str(), O_WRONLY));
    EXPECT_EQ(0U, fingerprintOf(unreadable.get()));
}

/// Other programs know of no lock, and may come between the last look and the exchange.
TEST_F(LocalStorageTest, NoVersionOfOthersIsLostWhateverTheMoment) {
    const auto replaceBy = [&](const char* version) {
        return [=] {
            folder_.put("other", version);
            fs::rename(folder_.path("other"), folder_.path("file"));
        };
    };
    const auto rewrite = [&] {
        ::usleep(10'000);  // file times have the resolution of the kernel's tick
        folder_.put("file", "OLD");
    };
    const auto failToExchange = [] { failing = {"renameat2", EIO, 0}; };
    const auto remove = [&] { fs::remove(folder_.path("file")); };
    const struct {
        std::vector<std::function<void()>> others;
        const char *left, *kept;
    } cases[] = {
        {{replaceBy("first")}, "first", ""},
        {{replaceBy("old")}, "old", ""},
        {{rewrite}, "OLD", ""},
        {{remove}, "none", ""},
        {{replaceBy("first"), replaceBy("second")}, "second", "first"},
        {{replaceBy("first"), remove}, "none", "first"},
        {{replaceBy("first"), failToExchange}, "new", "first"},
    };
    const auto contents = [&] {
        std::string kept, left = "none";
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            (entry.path().filename() == "file" ? left : kept) = support::readFile(entry.path());
        }
        age();
        return left + " and " + kept;
    };
    for (const auto& test : cases) {
        const std::string expected = test.left + std::string(" and ") + test.kept;
        folder_.put("file", "old");
        beforeExchange = test.others;
        EXPECT_EQ(save("file"), StorageErrorKind::Conflict);
        EXPECT_EQ(contents(), expected);
        failing = {};
        fs::remove(folder_.path("file"));
        EXPECT_EQ(save("file"), std::nullopt);
        EXPECT_EQ(contents(), std::string("new and ") + test.kept) << "no sweep takes a version of others";
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            fs::remove(entry.path());
        }
    }
}

/// What is done to a file that leaves its content is no conflict, and what is its to keep is taken over.
TEST_F(LocalStorageTest, OnlyChangesOfTheContentAreConflicts) {
    const std::string file = folder_.path("file"), other = folder_.path("other");
    const auto renameAndBack = [&] {
        EXPECT_EQ(::rename(file.c_str(), other.c_str()) + ::rename(other.c_str(), file.c_str()), 0);
    };
    const auto rewriteInSecret = [&] {
        const auto time = fs::last_write_time(file);
        folder_.put("file", "OLD");
        fs::last_write_time(file, time);
    };
    const struct {
        std::function<void()> change;
        bool isUnchanged;
        mode_t mode;
        Failure failure;
    } cases[] = {
        {[&] { fs::create_hard_link(file, other); }, true, 0640, std::nullopt},
        {[&] { setAttribute(file, "user.colour", "red"); }, true, 0640, std::nullopt},
        {[&] { fs::permissions(file, fs::perms(0640)); }, true, 0640, std::nullopt},
        {[&] { fs::permissions(file, fs::perms(0604)); }, true, 0604, std::nullopt},
        {renameAndBack, true, 0640, std::nullopt},
        {rewriteInSecret, false, 0640, StorageErrorKind::Conflict},
    };
    for (const bool isLate : {false, true}) {
        for (const auto& test : cases) {
            put("file", 0640);
            const auto old = storage_.openForReading(folder_.name("file"));
            ::usleep(10'000);
            const auto replacement = storage_.beginReplacement(folder_.name("file"), old.get());
            replacement->write("new", 3);
            replacement->askWhenTouched([&] { return test.isUnchanged; });
            if (isLate && test.isUnchanged) {
                beforeExchange = {test.change};
            } else {
                test.change();
            }
            Failure failure;
            try {
                replacement->commit();
            } catch (const StorageError& error) {
                failure = error.kind();
            }
            EXPECT_EQ(failure, test.failure);
            EXPECT_EQ(folder_.get("file"), test.failure ? "OLD" : "new");
            EXPECT_EQ(modeOf(file), test.mode);
            fs::remove(other);
            beforeExchange.clear();
        }
    }
    const auto gone = storage_.openForReading(folder_.name("file"));
    fs::remove(file);
    try {
        storage_.beginReplacement(folder_.name("file"), gone.get());
        ADD_FAILURE() << "a file that is gone is replaced";
    } catch (const StorageError& error) {
        EXPECT_EQ(error.kind(), StorageErrorKind::Conflict);
    }
}

/// Over NFS only a descriptor that may write can be locked; other file systems have no flock(2).
TEST_F(LocalStorageTest, LocksByOtherMeansWhereFlockFails) {
    put("file", 0644);
    for (const int error : {EBADF, ENOSYS, ENOLCK}) {
        failing = {"flock", error, 0};
        const LocalFile first(folder_.path("file")), second(folder_.path("file"));
        std::optional<FileLock> lock(std::in_place, first.descriptor(), FileLock::Wait::No);
        EXPECT_TRUE(FileLock(second.descriptor(), FileLock::Wait::No).isTakenByAnother()) << error;
        lock.reset();
        EXPECT_FALSE(FileLock(second.descriptor(), FileLock::Wait::No).isTakenByAnother()) << error;
    }
}

/// Between the exchange and a kill before what was displaced is removed.
TEST_F(LocalStorageTest, WhatOthersWriteToADisplacedVersionIsKept) {
    put("file", 0644);
    failing = {"unlinkat", EIO, 0};
    save("file");
    failing = {};
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
        if (entry.path().filename() != "file") {
            folder_.put(entry.path().filename(), "THE");  // as long as what was there
        }
    }
    age();
    save("file");
    EXPECT_TRUE(folder_.holdsTemporary());
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
        fs::remove(entry.path());
    }
}

TEST_F(LocalStorageTest, FailingCallsLeaveTheOldFileOrTheNew) {
    using Kind = StorageErrorKind;
    const struct {
        const char* call;
        int error, passing;
        bool create;
        Failure failure;
    } cases[] = {
        {"write", ENOSPC, 0, false, Kind::NoSpace},
        {"write", EDQUOT, 1, true, Kind::NoSpace},
        {"fchmod", EPERM, 0, false, Kind::AccessDenied},
        {"fchmod", EPERM, 1, true, Kind::AccessDenied},
        {"fsync", EIO, 0, false, Kind::Other},
        {"renameat", EROFS, 0, false, Kind::AccessDenied},
        {"renameat2", EIO, 0, false, Kind::Other},
        {"renameat2", EINVAL, 0, false, std::nullopt},
        {"renameat2", EOPNOTSUPP, 0, false, std::nullopt},
        {"renameat2", ENOTTY, 0, false, std::nullopt},
        {"renameat2", EBUSY, 0, false, Kind::Other},
        {"flistxattr", EIO, 0, false, std::nullopt},
        {"flistxattr fgetxattr", ENOTSUP, 0, false, std::nullopt},
        {"fsetxattr", ENOSPC, 0, false, std::nullopt},
        {"flock", EBADF, 0, false, std::nullopt},
        {"renameat2", ENOSYS, 0, false, std::nullopt},
        {"renameat2", ENOENT, 0, false, Kind::Conflict},
        {"flock", ENOLCK, 0, false, std::nullopt},
        {"flock", EWOULDBLOCK, 1, false, std::nullopt},
        {"renameat2", EEXIST, 0, true, Kind::Conflict},
        {"renameat2", EINVAL, 0, true, std::nullopt},
        {"renameat2", ENOSYS, 0, true, std::nullopt},
        {"fsync", EIO, 1, true, Kind::NotDurable},
        {"fsync", EINVAL, 0, true, Kind::Other},
        {"fsync", EINVAL, 1, true, std::nullopt},
        {"fstat", ESTALE, 1, false, Kind::Conflict},
        {"renameat2 linkat", EINVAL, 0, true, std::nullopt},
        {"renameat2 linkat", EEXIST, 0, true, Kind::Conflict},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.call << " " << test.error << " " << test.create);
        fs::remove(folder_.path("file"));
        if (!test.create) {
            folder_.put("file", "old");
        }
        failing = {test.call, test.error, test.passing};
        EXPECT_EQ(save("file", kLarge), test.failure);
        EXPECT_EQ(std::exchange(sleeps, 0) != 0, test.error == EWOULDBLOCK) << "others are waited for";
        failing = {};
        const bool replaced = !test.failure || test.failure == Kind::NotDurable;
        const std::string found = fs::exists(folder_.path("file")) ? folder_.get("file") : "none";
        EXPECT_TRUE(found == (replaced ? kLarge : test.create ? "none" : "old")) << found.size();
    }
}

}  // namespace
