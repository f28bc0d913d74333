#include "foundation/storage/vfs/LocalStorage.hpp"
#include "support/SystemCallScript.hpp"
#include "support/TempDir.hpp"

#include <cerrno>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace foundation::storage::vfs;
namespace fs = std::filesystem;

namespace {

constexpr uid_t kOrdinaryUser = 65534;
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

struct stat statusOf(const fs::path& file) {
    struct stat status {};
    EXPECT_EQ(::lstat(file.c_str(), &status), 0) << file;
    return status;
}

mode_t modeOf(const fs::path& file) { return statusOf(file).st_mode & 07777; }

/// Runs `work` in a process of its own, of that user when this one is the superuser's; returns whether it returned
/// true.
bool inChild(const std::function<bool()>& work, uid_t user = ::geteuid()) {
    const pid_t child = ::fork();
    if (child == 0) {
        const bool isUser = ::setresgid(user, user, user) == 0 && ::setresuid(user, user, user) == 0;
        ::_exit((isUser || ::geteuid() != 0) && work() ? 0 : 1);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && status == 0;
}

using Failure = std::optional<StorageErrorKind>;

class LocalStorageTest : public testing::Test {
protected:
    LocalStorageTest() { fs::permissions(folder_.path(), fs::perms::all); }

    void put(const std::string& file, mode_t mode) const {
        folder_.put(file, "old");
        ASSERT_EQ(::chmod(folder_.path(file).c_str(), mode), 0);
    }

    Failure save(const std::string& file, const std::string& content = "new", bool create = false) {
        try {
            const std::u16string name = folder_.name(file);
            const auto old = create ? nullptr : storage_.openForReading(name);
            const auto replacement = storage_.beginReplacement(name, old.get());
            replacement->write(content.data(), content.size() / 2);
            replacement->write(&content[content.size() / 2], content.size() - content.size() / 2);
            replacement->commit();
            return std::nullopt;
        } catch (const StorageError& error) {
            EXPECT_NE(std::string(error.what()).find(file), std::string::npos) << error.what();
            return error.kind();
        }
    }

    support::TempDir folder_;
    LocalStorage storage_;
};

TEST_F(LocalStorageTest, LinksStayLinks) {
    folder_.put("file", "old");
    fs::create_symlink("file", folder_.path("link"));
    fs::create_hard_link(folder_.path("file"), folder_.path("second name"));
    save("link");
    EXPECT_TRUE(fs::is_symlink(folder_.path("link")));
    EXPECT_EQ(folder_.get("file"), "new");
    EXPECT_EQ(folder_.get("second name"), "old");
}

TEST_F(LocalStorageTest, ReplacementKeepsOwnerModeAndAttributes) {
    const fs::path file = folder_.path("file");
    for (const mode_t mode : {0600U, 0664U, 0755U}) {
        put("file", mode);
        save("file");
        EXPECT_EQ(modeOf(file), mode);
    }
    if (setAttribute(file, "user.colour", "blue") && setAttribute(file, "user.empty", "")) {
        save("file");
        EXPECT_EQ(attribute(file, "user.colour"), "blue");
        EXPECT_EQ(attribute(file, "user.empty"), "");
    }
    if (::chown(file.c_str(), 1234, 4321) == 0) {
        save("file");
        const struct stat status = statusOf(file);
        EXPECT_TRUE(status.st_uid == 1234 && status.st_gid == 4321 && modeOf(file) == 0755);
    }
}

TEST_F(LocalStorageTest, AclsAreKeptAndNotInherited) {
    put("file", 0664);
    put("plain", 0664);
    if (!setAttribute(folder_.path("file"), kAcl, kSomeAcl) ||
        !setAttribute(folder_.path(), "system.posix_acl_default", kSomeAcl)) {
        GTEST_SKIP() << "no ACLs in this file system";
    }
    save("file");
    EXPECT_EQ(attribute(folder_.path("file"), kAcl), kSomeAcl);
    save("plain");
    EXPECT_EQ(attribute(folder_.path("plain"), kAcl), "none") << "more users may read it than before";
    EXPECT_EQ(modeOf(folder_.path("plain")), 0664U);
    folder_.put("any", "");
    save("new", "", true);
    EXPECT_EQ(attribute(folder_.path("new"), kAcl), attribute(folder_.path("any"), kAcl));
    EXPECT_EQ(modeOf(folder_.path("new")), modeOf(folder_.path("any")));
}

TEST_F(LocalStorageTest, NewFilesGetTheModeThatTheUmaskGives) {
    for (const mode_t mask : {0022U, 0077U}) {
        const std::string file = "new" + std::to_string(mask);
        EXPECT_TRUE(inChild([&] { return ::umask(mask), !save(file, "", true); }));
        EXPECT_EQ(modeOf(folder_.path(file)), 0666U & ~mask);
    }
}

TEST_F(LocalStorageTest, TemporariesArePrivate) {
    put("file", 0666);
    const auto old = storage_.openForReading(folder_.name("file"));
    const auto replacement = storage_.beginReplacement(folder_.name("file"), old.get());
    const auto creation = storage_.beginReplacement(folder_.name("new"), nullptr);
    EXPECT_TRUE(folder_.holdsTemporary());
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
        EXPECT_EQ(modeOf(entry.path()), entry.path().filename() == "file" ? 0666U : 0600U) << entry.path();
    }
}

TEST_F(LocalStorageTest, AccessNeverGetsWiderWhenTheOwnerCannotBeKept) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a file of somebody else";
    }
    const std::pair<mode_t, mode_t> cases[] = {{0666, 0666}, {0646, 0644}, {0606, 0600}, {06667, 0666}};
    for (const auto& [before, after] : cases) {
        put("file", before);
        EXPECT_TRUE(inChild([&] { return !save("file"); }, kOrdinaryUser));
        EXPECT_EQ(modeOf(folder_.path("file")), after) << std::oct << before;
        EXPECT_EQ(statusOf(folder_.path("file")).st_uid, kOrdinaryUser);
        fs::remove(folder_.path("file"));
    }
}

TEST_F(LocalStorageTest, ProtectedFilesAndFoldersAreRefused) {
    fs::create_directory(folder_.path("closed"));
    put("read-only", 0444);
    put("closed/file", 0666);
    fs::permissions(folder_.path("closed"), fs::perms(0555));
    const auto denied = [&](const char* file, bool create) {
        return save(file, "", create) == StorageErrorKind::AccessDenied;
    };
    EXPECT_TRUE(inChild([&] { return denied("read-only", false); }, kOrdinaryUser));
    EXPECT_TRUE(inChild([&] { return denied("closed/file", false) && denied("closed/new", true); }, kOrdinaryUser));
    EXPECT_EQ(folder_.get("read-only"), "old");
    EXPECT_EQ(folder_.get("closed/file"), "old");
    fs::permissions(folder_.path("closed"), fs::perms(0755));
}

TEST_F(LocalStorageTest, OnlyWholeRegularFilesAreAccepted) {
    fs::create_directory(folder_.path("folder"));
    fs::create_symlink("nowhere", folder_.path("dangling"));
    ASSERT_EQ(::mkfifo(folder_.path("fifo").c_str(), 0666), 0);
    for (const char* const file : {"folder", "fifo", "dangling"}) {
        EXPECT_THROW(storage_.openForReading(folder_.name(file)), StorageError) << file;
        EXPECT_EQ(save(file, "new", true), StorageErrorKind::Other) << file;
    }
    EXPECT_EQ(save("absent folder/file", "", true), StorageErrorKind::NotFound);
    EXPECT_EQ(save(std::string(255, 'x'), "", true), std::nullopt);
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

TEST_F(LocalStorageTest, CopiesItselfWhatTheKernelCannot) {
    folder_.put("source", kLarge);
    const auto replacement = storage_.beginReplacement(folder_.name("file"), nullptr);
    const support::SystemCallScript script("copy_file_range", EXDEV);
    replacement->append(*storage_.openForReading(folder_.name("source")), 0, kLarge.size());
    replacement->commit();
    EXPECT_TRUE(folder_.get("file") == kLarge);
}

TEST_F(LocalStorageTest, SweepsOnlyStaleTemporariesOfItsOwn) {
    const std::string stale = ".pxflowbook-save-0123456789abcdef~", fresh = ".pxflowbook-save-0123456789abcdee~";
    const auto putAged = [&](const std::string& file, int minutes) {
        folder_.put(file, "");
        fs::last_write_time(folder_.path(file), fs::file_time_type::clock::now() - std::chrono::minutes(minutes));
    };
    for (const char* const other : {".pxflowbook-save-0123456789abcdef-", ".pxflowbook-save-0123456789abcdeg~",
                                    ".pxflowbook-kept-0123456789abcdef~", ".pxflowbook-save-0123456789abcdef0~"}) {
        putAged(stale, 61);
        putAged(fresh, 59);
        putAged(other, 61);
        folder_.put("file", "old");
        save("file");
        EXPECT_FALSE(fs::exists(folder_.path(stale)));
        EXPECT_TRUE(fs::remove(folder_.path(fresh)) && fs::remove(folder_.path(other))) << other;
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
        {"write", ENOSPC, 0, false, Kind::NoSpace},      {"write", EDQUOT, 1, true, Kind::NoSpace},
        {"fchmod", EPERM, 0, false, Kind::AccessDenied}, {"fchmod", EPERM, 1, true, Kind::AccessDenied},
        {"fsync", EIO, 0, false, Kind::Other},           {"renameat", EROFS, 0, false, Kind::AccessDenied},
        {"renameat2", EEXIST, 0, true, Kind::Conflict},  {"renameat2", EINVAL, 0, true, std::nullopt},
        {"renameat2", ENOSYS, 0, true, std::nullopt},    {"fsync", EIO, 1, true, Kind::NotDurable},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.call << " " << test.error << " " << test.create);
        fs::remove(folder_.path("file"));
        if (!test.create) {
            folder_.put("file", "old");
        }
        const support::SystemCallScript script(test.call, test.error, test.passing);
        EXPECT_EQ(save("file", kLarge, test.create), test.failure);
        EXPECT_FALSE(folder_.holdsTemporary());
        const bool replaced = !test.failure || test.failure == Kind::NotDurable;
        ASSERT_EQ(fs::exists(folder_.path("file")), replaced || !test.create);
        EXPECT_TRUE((!replaced && test.create) || folder_.get("file") == (replaced ? kLarge : "old"));
    }
}

}  // namespace
