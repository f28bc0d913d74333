#include "foundation/storage/vfs/FileAttributes.hpp"

#include "foundation/storage/vfs/Descriptor.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <cstring>
#include <linux/fs.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace foundation::storage::vfs {
namespace {

/// The kernel's form of the ACL; copied as it is, as both files are in one file system.
const char* const kAcl = "system.posix_acl_access";
constexpr std::string_view kUserPrefix = "user.";
constexpr std::string_view kLabel = "security.selinux";
constexpr mode_t kPermissions = 07777;

/// Reads what has to be asked for its size first and may grow between the two calls.
/// @param read  takes a buffer and its size as fgetxattr(2) does.
template <class Read>
bool readSized(Read read, std::vector<char>& value) {
    for (;;) {
        const ssize_t size = read(nullptr, 0);
        if (size == -1) {
            return false;
        }
        value.resize(static_cast<std::size_t>(size));
        const ssize_t got = size == 0 ? 0 : read(value.data(), value.size());
        if (got != -1) {
            value.resize(static_cast<std::size_t>(got));
            return true;
        }
        if (errno != ERANGE) {
            return false;
        }
    }
}

bool readAttribute(int descriptor, const char* name, std::vector<char>& value) {
    return readSized([&](char* to, std::size_t size) { return ::fgetxattr(descriptor, name, to, size); }, value);
}

/// A file system that cannot list an attribute, or has no room for it, stops no save.
void copyAttribute(int from, int to, const char* name) {
    std::vector<char> value;
    if (readAttribute(from, name, value)) {
        ::fsetxattr(to, name, value.data(), value.size(), 0);
    }
}

/// Those of users, and the label of SELinux, where the process may set it. Capabilities are for programs. @returns
/// whether there is an ACL, as far as can be known.
bool copyListedAttributes(int from, int to) {
    std::vector<char> names;
    if (!readSized([&](char* list, std::size_t size) { return ::flistxattr(from, list, size); }, names)) {
        return false;
    }
    bool hasAcl = false;
    names.push_back('\0');
    for (const char* name = names.data(); *name != '\0'; name += std::strlen(name) + 1) {
        if (std::string_view(name).substr(0, kUserPrefix.size()) == kUserPrefix || std::string_view(name) == kLabel) {
            copyAttribute(from, to, name);
        }
        hasAcl = hasAcl || std::string_view(name) == kAcl;
    }
    return hasAcl;
}

/// The flags of chattr(1) that say how a file is to be kept, where the file system has such.
void copyFlags(int from, int to) {
    constexpr int kKept = FS_SYNC_FL | FS_NODUMP_FL | FS_NOATIME_FL | FS_COMPR_FL | FS_NOCOMP_FL;
    int wanted = 0;
    int present = 0;
    if (::ioctl(from, FS_IOC_GETFLAGS, &wanted) == 0 && (wanted & kKept) != 0 &&
        ::ioctl(to, FS_IOC_GETFLAGS, &present) == 0) {
        present = (present & ~kKept) | (wanted & kKept);
        ::ioctl(to, FS_IOC_SETFLAGS, &present);
    }
}

struct Ownership {
    bool userKept;
    bool groupKept;
};

/// Only the superuser gives files away, but an owner may choose among the own groups; so failing here is no error.
Ownership copyOwnership(const struct stat& wanted, const struct stat& present, int to) {
    const bool sameUser = wanted.st_uid == present.st_uid;
    const bool sameGroup = wanted.st_gid == present.st_gid;
    if ((sameUser && sameGroup) || ::fchown(to, wanted.st_uid, wanted.st_gid) == 0) {
        return {true, true};
    }
    const bool groupKept = sameGroup || ::fchown(to, static_cast<uid_t>(-1), wanted.st_gid) == 0;
    return {sameUser, groupKept};
}

/// The mode that gives nobody more than `mode` gave before the ownership changed.
mode_t restrictMode(mode_t mode, Ownership ownership) {
    if (!ownership.userKept) {
        mode &= ~static_cast<mode_t>(S_ISUID);
    }
    if (!ownership.groupKept) {
        // Members of either group may now be what was the group or what were the others: leave them what both had.
        const mode_t common = (mode >> 3) & mode & S_IRWXO;
        mode = (mode & ~static_cast<mode_t>(S_ISGID | S_IRWXG | S_IRWXO)) | common << 3 | common;
    }
    return mode;
}

/// Takes away the ACL that a new file inherits from its folder.
void removeAcl(int descriptor, const std::string& path) {
    if (::fremovexattr(descriptor, kAcl) == -1 && ::fgetxattr(descriptor, kAcl, nullptr, 0) != -1) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot remove the inherited ACL of the temporary for \"" + path + '"');
    }
}

/// Returns whether access by others than the owner is now as `from` has it, but for the mode bits.
bool copyAcl(bool isListed, int from, int to, Ownership ownership, const std::string& path) {
    std::vector<char> acl;
    if (!readAttribute(from, kAcl, acl)) {
        removeAcl(to, path);
        return !isListed;
    }
    // An ACL may also deny, so that without it, or with its entry for the group meaning another one, only closing the
    // file to all others is safe.
    if (ownership.groupKept && ::fsetxattr(to, kAcl, acl.data(), acl.size(), 0) == 0) {
        return true;
    }
    removeAcl(to, path);
    return false;
}

}  // namespace

struct stat statusOf(int descriptor, const std::string& path) {
    struct stat status {};
    if (::fstat(descriptor, &status) == -1) {
        throwErrno("look at", path);
    }
    return status;
}

void copyAttributes(int from, int to, const std::string& path) {
    const struct stat wanted = statusOf(from, path);
    const bool hasAcl = copyListedAttributes(from, to);  // while the file is still ours, as it need not be afterwards
    // The owner before the rights: the other way round the rights would for a moment be those of somebody else. The
    // ACL before the mode: the mode's group bits are the mask of an ACL, and without one the rights of the group.
    const Ownership ownership = copyOwnership(wanted, statusOf(to, path), to);
    mode_t mode = restrictMode(wanted.st_mode & kPermissions, ownership);
    if (!copyAcl(hasAcl, from, to, ownership, path)) {
        mode &= ~static_cast<mode_t>(S_IRWXG | S_IRWXO);
    }
    setMode(to, mode, path);
    copyFlags(from, to);
}

void setMode(int descriptor, mode_t mode, const std::string& path) {
    // Some file systems have one mode for all files, and refuse even to set that.
    if (modeOf(descriptor, path) != mode && ::fchmod(descriptor, mode) == -1) {
        throwErrno("set the mode of the temporary for", path);
    }
}

mode_t modeOf(int descriptor, const std::string& path) { return statusOf(descriptor, path).st_mode & kPermissions; }

}  // namespace foundation::storage::vfs
