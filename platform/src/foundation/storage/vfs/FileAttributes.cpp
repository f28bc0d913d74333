// Copies what a file has besides its content to the file that replaces it. Two rules decide every doubtful case: access
// never becomes wider than it was, not even between two steps, and an attribute that a file system cannot read or keep
// does not fail the save.
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

/// Reads an attribute or a list of attributes whose size must be asked for first. It may grow between the two calls,
/// which the system reports by ERANGE; then both are repeated.
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

/// A failure is ignored: a file system that cannot read an attribute, or has no room for it, must not stop a save.
void copyAttribute(int from, int to, const char* name) {
    std::vector<char> value;
    if (readAttribute(from, name, value)) {
        ::fsetxattr(to, name, value.data(), value.size(), 0);
    }
}

/// Copies user attributes, and the label of SELinux where the process may set it. Capabilities are left out: they give
/// rights to programs. @returns whether the list names an ACL; false when there is no list.
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

/// Only the superuser may give a file away, but an owner may choose among the groups of the process. So a failure is no
/// error here; restrictMode() and copyAcl() take it into account.
Ownership copyOwnership(const struct stat& wanted, const struct stat& present, int to) {
    const bool sameUser = wanted.st_uid == present.st_uid;
    const bool sameGroup = wanted.st_gid == present.st_gid;
    if ((sameUser && sameGroup) || ::fchown(to, wanted.st_uid, wanted.st_gid) == 0) {
        return {true, true};
    }
    const bool groupKept = sameGroup || ::fchown(to, static_cast<uid_t>(-1), wanted.st_gid) == 0;
    return {sameUser, groupKept};
}

/// Returns the mode that gives no user more access than `mode` gave with the original owner and group.
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

/// Removes the ACL that a new file inherits from its folder: the original has none, and this one may give access. A
/// file system that has no ACLs fails here too, so a failure is an error only if there is still an ACL to be read.
void removeAcl(int descriptor, const std::string& path) {
    if (::fremovexattr(descriptor, kAcl) == -1 && ::fgetxattr(descriptor, kAcl, nullptr, 0) != -1) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot remove the inherited ACL of the temporary for \"" + path + '"');
    }
}

/// Returns whether the access of others than the owner is now that of `from`, apart from the mode bits.
/// @param isListed  whether the list of attributes names an ACL. If it does and the ACL cannot be read, nothing is
/// known of what it denies.
bool copyAcl(bool isListed, int from, int to, Ownership ownership, const std::string& path) {
    std::vector<char> acl;
    if (!readAttribute(from, kAcl, acl)) {
        removeAcl(to, path);
        return !isListed;
    }
    // An ACL may also deny access, and its entry for the group would mean another group if that could not be kept. In
    // both cases only closing the file to all but its owner is safe.
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
    const bool hasAcl = copyListedAttributes(from, to);  // before the owner changes, after which it may be forbidden
    // The owner is set before the rights: in the other order the rights would for a moment be those of another user.
    // The ACL is set before the mode: with an ACL the group bits of the mode are its mask, without one the rights of
    // the group.
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
