#include "foundation/storage/vfs/LocalStorage.hpp"
#include "support/SystemCallScript.hpp"
#include "support/TempDir.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
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
const char* const kDefaultAcl = "system.posix_acl_default";

struct AclEntry {
    std::uint16_t tag;
    std::uint16_t permissions;
    std::uint32_t id;
};

/// rw- for the owner, --- for the group, rw- for a named user, a mask of rw- and --- for others, in the kernel's form.
std::string someAcl() {
    const std::vector<AclEntry> entries = {{1, 6, ~0U}, {2, 6, 1234}, {4, 0, ~0U}, {0x10, 6, ~0U}, {0x20, 0, ~0U}};
    std::string acl("\2\0\0\0", 4);
    return acl.append(reinterpret_cast<const char*>(entries.data()), entries.size() * sizeof(AclEntry));
}

std::string attribute(const fs::path& file, const char* name) {
    std::string value(256, '\0');
    const ssize_t size = ::getxattr(file.c_str(), name, value.data(), value.size());
    value.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return value;
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

/// Runs `work` in a process of its own; returns whether it returned true.
bool inChild(const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        bool result = false;
        try {
            result = work();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "child failed: %s\n", error.what());
        }
        ::_exit(result ? 0 : 1);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool asOrdinaryUser(const std::function<bool()>& work) {
    return inChild([&] {
        const bool ordinary = ::geteuid() != 0 || (::setresgid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) == 0 &&
                                                   ::setresuid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) == 0);
        return ordinary && work();
    });
}

class LocalStorageTest : public testing::Test {
protected:
    LocalStorageTest() { fs::permissions(folder_.path(), fs::perms::all); }

    void save(const std::string& file, const std::string& content, bool create = false) {
        const std::u16string name = folder_.name(file);
        const auto old = create ? nullptr : storage_.openForReading(name);
        const auto replacement = storage_.beginReplacement(name, old.get());
        const std::size_t half = content.size() / 2;
        replacement->write(content.data(), half);
        replacement->write(content.data() + half, content.size() - half);
        replacement->commit();
    }

    std::optional<StorageErrorKind> failureOfSave(const std::string& file, const std::string& content = "new",
                                                  bool create = false) {
        try {
            save(file, content, create);
        } catch (const StorageError& error) {
            EXPECT_NE(std::string(error.what()).find(file), std::string::npos) << error.what();
            return error.kind();
        }
        return std::nullopt;
    }

    support::TempDir folder_;
    LocalStorage storage_;
};

TEST_F(LocalStorageTest, LinksStayLinks) {
    fs::create_directory(folder_.path("other"));
    folder_.put("other/file", "old");
    fs::create_symlink("other/file", folder_.path("link"));
    fs::create_hard_link(folder_.path("other/file"), folder_.path("second name"));
    save("link", "new");
    EXPECT_TRUE(fs::is_symlink(folder_.path("link")));
    EXPECT_EQ(folder_.get("other/file"), "new");
    EXPECT_EQ(folder_.get("second name"), "old");
}

TEST_F(LocalStorageTest, ReplacementKeepsOwnerModeAndAttributes) {
    const fs::path file = folder_.path("file");
    for (const mode_t mode : {0600U, 0640U, 0664U, 0755U}) {
        folder_.put("file", "old");
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
        save("file", "new");
        EXPECT_EQ(modeOf(file), mode);
        EXPECT_EQ(folder_.get("file"), "new");
    }
    if (setAttribute(file, "user.colour", "blue") && setAttribute(file, "user.empty", "")) {
        save("file", "newer");
        EXPECT_EQ(attribute(file, "user.colour"), "blue");
        EXPECT_EQ(::getxattr(file.c_str(), "user.empty", nullptr, 0), 0);
    }
    if (::chown(file.c_str(), 1234, 4321) == 0) {
        save("file", "newest");
        EXPECT_EQ(statusOf(file).st_uid, 1234U);
        EXPECT_EQ(statusOf(file).st_gid, 4321U);
        EXPECT_EQ(modeOf(file), 0755U);
    }
}

TEST_F(LocalStorageTest, AclsAreKeptAndNotInherited) {
    folder_.put("file", "old");
    folder_.put("plain", "old");
    ASSERT_EQ(::chmod(folder_.path("plain").c_str(), 0664), 0);
    if (!setAttribute(folder_.path("file"), kAcl, someAcl()) || !setAttribute(folder_.path(), kDefaultAcl, someAcl())) {
        GTEST_SKIP() << "no ACLs in this file system";
    }
    save("file", "new");
    EXPECT_EQ(attribute(folder_.path("file"), kAcl), someAcl());
    save("plain", "new");
    EXPECT_EQ(attribute(folder_.path("plain"), kAcl), "") << "more users may read it than before";
    EXPECT_EQ(modeOf(folder_.path("plain")), 0664U);
    folder_.put("any", "");
    save("new", "new", true);
    EXPECT_EQ(attribute(folder_.path("new"), kAcl), attribute(folder_.path("any"), kAcl));
    EXPECT_EQ(modeOf(folder_.path("new")), modeOf(folder_.path("any")));
}

TEST_F(LocalStorageTest, NewFilesGetTheModeThatTheUmaskGives) {
    for (const mode_t mask : {0022U, 0077U, 0002U}) {
        const std::string file = "new" + std::to_string(mask);
        EXPECT_TRUE(inChild([&] {
            ::umask(mask);
            save(file, "", true);
            return true;
        }));
        EXPECT_EQ(modeOf(folder_.path(file)), 0666U & ~mask);
    }
}

TEST_F(LocalStorageTest, TemporariesArePrivate) {
    for (const bool create : {false, true}) {
        folder_.put("file", "old");
        const auto old = create ? nullptr : storage_.openForReading(folder_.name("file"));
        const auto replacement = storage_.beginReplacement(folder_.name(create ? "new" : "file"), old.get());
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            EXPECT_TRUE(entry.path().filename() == "file" || modeOf(entry.path()) == 0600U) << entry.path();
        }
        EXPECT_TRUE(folder_.holdsTemporary());
    }
}

TEST_F(LocalStorageTest, AccessNeverGetsWiderWhenTheOwnerCannotBeKept) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a file of somebody else";
    }
    const std::vector<std::pair<mode_t, mode_t>> cases = {{0666, 0666}, {0646, 0644}, {0606, 0600}, {06667, 0666}};
    for (const auto& [before, after] : cases) {
        folder_.put("file", "old");
        ASSERT_EQ(::chmod(folder_.path("file").c_str(), before), 0);
        EXPECT_TRUE(asOrdinaryUser([&] { return !failureOfSave("file"); }));
        EXPECT_EQ(modeOf(folder_.path("file")), after) << std::oct << before;
        EXPECT_EQ(statusOf(folder_.path("file")).st_uid, kOrdinaryUser);
        fs::remove(folder_.path("file"));
    }
}

TEST_F(LocalStorageTest, ProtectedFilesAndFoldersAreRefused) {
    folder_.put("read-only", "old");
    ASSERT_EQ(::chmod(folder_.path("read-only").c_str(), 0444), 0);
    fs::create_directory(folder_.path("closed"));
    folder_.put("closed/file", "old");
    ASSERT_EQ(::chmod(folder_.path("closed/file").c_str(), 0666), 0);
    ASSERT_EQ(::chmod(folder_.path("closed").c_str(), 0555), 0);
    EXPECT_TRUE(asOrdinaryUser([&] {
        return failureOfSave("read-only") == StorageErrorKind::AccessDenied &&
               failureOfSave("closed/file") == StorageErrorKind::AccessDenied &&
               failureOfSave("closed/new", "", true) == StorageErrorKind::AccessDenied;
    }));
    EXPECT_EQ(folder_.get("read-only"), "old");
    EXPECT_EQ(folder_.get("closed/file"), "old");
    ASSERT_EQ(::chmod(folder_.path("closed").c_str(), 0755), 0);
}

TEST_F(LocalStorageTest, OnlyRegularFilesAreAccepted) {
    fs::create_directory(folder_.path("folder"));
    fs::create_symlink("nowhere", folder_.path("dangling"));
    ASSERT_EQ(::mkfifo(folder_.path("fifo").c_str(), 0666), 0);
    for (const char* const file : {"folder", "fifo", "dangling"}) {
        EXPECT_THROW(storage_.openForReading(folder_.name(file)), StorageError) << file;
        EXPECT_EQ(failureOfSave(file, "new", true), StorageErrorKind::Other) << file;
    }
    EXPECT_THROW(storage_.openForReading(u"/dev/null"), StorageError);
    EXPECT_EQ(failureOfSave("absent folder/file", "", true), StorageErrorKind::NotFound);
    for (const std::u16string& name : {folder_.name(""), std::u16string(), u"a\xD800" + folder_.name("x"),
                                       folder_.name("x") + std::u16string(1, u'\0')}) {
        EXPECT_THROW(storage_.beginReplacement(name, nullptr), StorageError);
    }
    EXPECT_FALSE(storage_.exists(folder_.name("fifo/below")));
    EXPECT_THROW(storage_.exists(folder_.name(std::string(300, 'x'))), StorageError);
}

TEST_F(LocalStorageTest, LongestNamesAreReplaced) {
    const std::string file(255, 'x');
    save(file, "old", true);
    save(file, "new");
    EXPECT_EQ(folder_.get(file), "new");
}

TEST_F(LocalStorageTest, ChangesByOtherProgramsAreConflicts) {
    const std::vector<std::function<void(const fs::path&)>> changes = {
        [](const fs::path& file) { std::ofstream(file) << "other"; },
        [](const fs::path& file) { fs::permissions(file, fs::perms::owner_all); },
        [](const fs::path& file) { fs::remove(file); },
        [](const fs::path& file) {
            std::ofstream(file.string() + "2") << "old";
            fs::rename(file.string() + "2", file);
        },
    };
    for (const auto& change : changes) {
        folder_.put("file", "old");
        const auto old = storage_.openForReading(folder_.name("file"));
        const auto replacement = storage_.beginReplacement(folder_.name("file"), old.get());
        ::usleep(10'000);  // file times have the resolution of the kernel's tick
        change(folder_.path("file"));
        try {
            replacement->commit();
            ADD_FAILURE() << "committed over a changed file";
        } catch (const StorageError& error) {
            EXPECT_EQ(error.kind(), StorageErrorKind::Conflict) << error.what();
        }
    }
}

TEST_F(LocalStorageTest, TruncatedFileFailsToRead) {
    folder_.put("file", "0123456789");
    const auto file = storage_.openForReading(folder_.name("file"));
    fs::resize_file(folder_.path("file"), 5);
    std::string bytes(10, '\0');
    EXPECT_THROW(file->read(0, bytes.data(), bytes.size()), StorageError);
}

TEST_F(LocalStorageTest, CopiesBetweenFileSystems) {
    if (!fs::is_directory("/dev/shm")) {
        GTEST_SKIP() << "no other file system";
    }
    const support::TempDir elsewhere("/dev/shm");
    const std::string content(1'000'000, 'x');
    elsewhere.put("source", content);
    const auto replacement = storage_.beginReplacement(folder_.name("file"), nullptr);
    replacement->append(*storage_.openForReading(elsewhere.name("source")), 0, content.size());
    replacement->commit();
    EXPECT_TRUE(folder_.get("file") == content);
}

TEST_F(LocalStorageTest, SweepsOnlyStaleTemporariesOfItsOwn) {
    const std::string stale = ".pxflowbook-save-0123456789abcdef~";
    const std::string fresh = ".pxflowbook-save-0123456789abcdee~";
    const std::vector<std::string> kept = {".pxflowbook-save-0123456789abcdef", ".pxflowbook-save-0123456789abcdeg~",
                                           "0.pxflowbook-save-0123456789abcde~", ".other-program-0123456789abcdef~"};
    const auto longAgo = fs::file_time_type::clock::now() - std::chrono::minutes(61);
    for (const std::string& file : kept) {
        folder_.put(file, "");
        fs::last_write_time(folder_.path(file), longAgo);
    }
    folder_.put(stale, "");
    fs::last_write_time(folder_.path(stale), longAgo);
    folder_.put(fresh, "");
    save("file", "new", true);
    EXPECT_FALSE(fs::exists(folder_.path(stale)));
    for (const std::string& file : kept) {
        EXPECT_TRUE(fs::remove(folder_.path(file))) << file;
    }
    EXPECT_TRUE(fs::remove(folder_.path(fresh)));
}

struct FaultCase {
    const char* call;
    int error;
    int passing;
    bool create;
    std::optional<StorageErrorKind> failure;
    bool replaced;
};

TEST_F(LocalStorageTest, FailingCallsLeaveTheOldFileOrTheNew) {
    const auto noSpace = StorageErrorKind::NoSpace;
    const auto denied = StorageErrorKind::AccessDenied;
    const auto other = StorageErrorKind::Other;
    const std::vector<FaultCase> cases = {
        {"write", ENOSPC, 0, false, noSpace, false},
        {"write", EDQUOT, 1, true, noSpace, false},
        {"fchmod", EPERM, 0, false, denied, false},
        {"fchmod", EPERM, 1, true, denied, false},
        {"fsync", EIO, 0, false, other, false},
        {"fsync", EIO, 0, true, other, false},
        {"renameat", EROFS, 0, false, denied, false},
        {"renameat2", EEXIST, 0, true, StorageErrorKind::Conflict, false},
        {"renameat2", EINVAL, 0, true, std::nullopt, true},
        {"renameat2", ENOSYS, 0, true, std::nullopt, true},
        {"fsync", EIO, 1, false, StorageErrorKind::NotDurable, true},
        {"fsync", EIO, 1, true, StorageErrorKind::NotDurable, true},
    };
    const std::string content(600'000, 'n');  // too much for a buffer, in halves too
    for (const FaultCase& test : cases) {
        SCOPED_TRACE(testing::Message() << test.call << " " << test.error << " " << test.create);
        fs::remove(folder_.path("file"));
        if (!test.create) {
            folder_.put("file", "old");
        }
        {
            support::SystemCallScript script;
            script.fail(test.call, test.error, test.passing);
            EXPECT_EQ(failureOfSave("file", content, test.create), test.failure);
        }
        EXPECT_FALSE(folder_.holdsTemporary());
        ASSERT_EQ(fs::exists(folder_.path("file")), test.replaced || !test.create);
        if (fs::exists(folder_.path("file"))) {
            EXPECT_TRUE(folder_.get("file") == (test.replaced ? content : "old"));
        }
    }
}

TEST_F(LocalStorageTest, ContentIsDurableBeforeItIsVisible) {
    for (const bool create : {true, false}) {
        support::SystemCallScript script;
        save("file", "content", create);
        const char* const rename = create ? "renameat2" : "renameat";
        std::vector<std::string> steps = script.trace();
        steps.erase(std::remove(steps.begin(), steps.end(), "fchmod"), steps.end());
        EXPECT_EQ(steps, (std::vector<std::string>{"write", "fsync", rename, "fsync"}));
    }
}

TEST_F(LocalStorageTest, KilledProcessLeavesTheOldFileOrTheNew) {
    const std::string content(600'000, 'n');
    bool completed = false;
    for (std::size_t call = 0; !completed; ++call) {
        folder_.put("file", "old");
        completed = !inChild([&] {
            support::SystemCallScript script;
            script.exitBefore(call);
            save("file", content);
            return false;  // not killed
        });
        const std::string found = folder_.get("file");
        EXPECT_TRUE(found == content || (!completed && found == "old")) << call;
    }
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
        fs::remove(entry);  // what the killed ones left
    }
}

}  // namespace
