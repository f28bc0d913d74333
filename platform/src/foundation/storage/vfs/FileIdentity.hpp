#pragma once

#include <cstdint>
#include <sys/stat.h>

namespace foundation::storage::vfs {

/// What fstat(2) reported about a file at one moment, for comparing two such moments: whether it was the same file, and
/// whether it was in the same state. The comparisons differ in how much they take for a change; the one that a step of
/// a save uses decides what counts as a conflict there.
class FileIdentity {
public:
    explicit FileIdentity(const struct stat& status) noexcept : status_(status) {}

    std::uint64_t size() const noexcept { return static_cast<std::uint64_t>(status_.st_size); }

    bool isSameFileAs(const FileIdentity& other) const noexcept {
        return status_.st_dev == other.status_.st_dev && status_.st_ino == other.status_.st_ino;
    }

    /// Whether size and modification time are the same. Any write changes them, except one of the same size within one
    /// tick of the kernel's clock, and one after which the time was set back.
    bool hasContentOf(const FileIdentity& other) const noexcept {
        return status_.st_size == other.status_.st_size && same(status_.st_mtim, other.status_.st_mtim);
    }

    /// Whether nothing at all was done to the file, not even to its name, owner, mode or attributes, all of which
    /// change the time of the last status change.
    bool isUntouchedSince(const FileIdentity& other) const noexcept {
        return hasContentOf(other) && same(status_.st_ctim, other.status_.st_ctim);
    }

    bool hasOwnerAndModeOf(const FileIdentity& other) const noexcept {
        return status_.st_mode == other.status_.st_mode && status_.st_uid == other.status_.st_uid &&
               status_.st_gid == other.status_.st_gid;
    }

private:
    static bool same(const timespec& a, const timespec& b) noexcept {
        return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    }

    struct stat status_;
};

}  // namespace foundation::storage::vfs
