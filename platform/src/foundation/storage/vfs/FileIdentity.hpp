#pragma once

#include <cstdint>
#include <sys/stat.h>

namespace foundation::storage::vfs {

/// Compares what two looks at a name saw: whether it was the same file in the same state.
class FileIdentity {
public:
    explicit FileIdentity(const struct stat& status) noexcept : status_(status) {}

    std::uint64_t size() const noexcept { return static_cast<std::uint64_t>(status_.st_size); }

    bool isSameFileAs(const FileIdentity& other) const noexcept {
        return status_.st_dev == other.status_.st_dev && status_.st_ino == other.status_.st_ino;
    }

    /// Whether size and modification time are the same, as they are unless something was written.
    bool hasContentOf(const FileIdentity& other) const noexcept {
        return status_.st_size == other.status_.st_size && same(status_.st_mtim, other.status_.st_mtim);
    }

    /// Whether nothing at all was done to the file, not even to its name, owner, mode or attributes.
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
