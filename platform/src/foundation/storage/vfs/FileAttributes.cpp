#include "foundation/storage/vfs/FileAttributes.hpp"

#include "foundation/storage/vfs/Descriptor.hpp"

#include <cstring>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace foundation::storage::vfs {
namespace {

/// The kernel's form of the ACL; copied as it is, as both files are in one file system.
const char* const kAcl = "system.posix_acl_access";
constexpr std::string_view kUserPrefix = "user.";
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

/// Whether errno tells of a file without that attribute, or of a file system without attributes.
bool attributeIsMissing() { return errno == ENODATA || errno == ENOTSUP; }

bool readAttribute(int descriptor, const char* name, std::vector<char>& value, const std::string& path) {
    const bool read =
        readSized([&](char* to, std::size_t size) { return ::fgetxattr(descriptor, name, to, size); }, value);
    if (!read && !attributeIsMissing()) {
        throwErrno("read the attributes of", path);
    }
    return read;
}

void copyUserAttribute(int from, int to, const char* name, const std::string& path) {
    std::vector<char> value;
    if (readAttribute(from, name, value, path) && ::fsetxattr(to, name, value.data(), value.size(), 0) == -1) {
        throwErrno("copy the attributes of", path);
    }
}

void copyUserAttributes(int from, int to, const std::string& path) {
    std::vector<char> names;
    if (!readSized([&](char* list, std::size_t size) { return ::flistxattr(from, list, size); }, names)) {
        if (!attributeIsMissing()) {
            throwErrno("list the attributes of", path);
        }
        return;
    }
    names.push_back('\0');
    for (const char* name = names.data(); *name != '\0'; name += std::strlen(name) + 1) {
        if (std::string_view(name).substr(0, kUserPrefix.size()) == kUserPrefix) {
            copyUserAttribute(from, to, name, path);
        }
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
    if (::fremovexattr(descriptor, kAcl) == -1 && !attributeIsMissing()) {
        throwErrno("remove the inherited ACL of the temporary for", path);
    }
}

/// Returns whether access by others than the owner is now as `from` has it, but for the mode bits.
bool copyAcl(int from, int to, Ownership ownership, const std::string& path) {
    std::vector<char> acl;
    if (!readAttribute(from, kAcl, acl, path)) {
        removeAcl(to, path);
        return true;
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
    copyUserAttributes(from, to, path);  // while the file is still ours, as it need not be afterwards
    // The owner before the rights: the other way round the rights would for a moment be those of somebody else. The
    // ACL before the mode: the mode's group bits are the mask of an ACL, and without one the rights of the group.
    const Ownership ownership = copyOwnership(wanted, statusOf(to, path), to);
    mode_t mode = restrictMode(wanted.st_mode & kPermissions, ownership);
    if (!copyAcl(from, to, ownership, path)) {
        mode &= ~static_cast<mode_t>(S_IRWXG | S_IRWXO);
    }
    setMode(to, mode, path);
}

void setMode(int descriptor, mode_t mode, const std::string& path) {
    // Some file systems have one mode for all files, and refuse even to set that.
    if (modeOf(descriptor, path) != mode && ::fchmod(descriptor, mode) == -1) {
        throwErrno("set the mode of the temporary for", path);
    }
}

mode_t modeOf(int descriptor, const std::string& path) { return statusOf(descriptor, path).st_mode & kPermissions; }

}  // namespace foundation::storage::vfs
