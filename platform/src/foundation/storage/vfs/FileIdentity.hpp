#pragma once

#include <cstdint>
#include <sys/stat.h>

namespace foundation::storage::vfs {

/// Tells whether two looks at a name saw the same file in the same state.
class FileIdentity {
public:
    explicit FileIdentity(const struct stat& status) noexcept : status_(status) {}

    std::uint64_t size() const noexcept { return static_cast<std::uint64_t>(status_.st_size); }

    ino_t inode() const noexcept { return status_.st_ino; }

    /// Whether it is the same file with the same content and rights. Renaming it may have changed its change time.
    bool hasContentOf(const FileIdentity& other) const noexcept {
        return status_.st_dev == other.status_.st_dev && status_.st_ino == other.status_.st_ino &&
               status_.st_size == other.status_.st_size && same(status_.st_mtim, other.status_.st_mtim) &&
               status_.st_mode == other.status_.st_mode && status_.st_uid == other.status_.st_uid &&
               status_.st_gid == other.status_.st_gid;
    }

    bool operator==(const FileIdentity& other) const noexcept {
        return hasContentOf(other) && same(status_.st_ctim, other.status_.st_ctim);
    }
    bool operator!=(const FileIdentity& other) const noexcept { return !(*this == other); }

private:
    static bool same(const timespec& a, const timespec& b) noexcept {
        return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    }

    struct stat status_;
};

}  // namespace foundation::storage::vfs
