#pragma once

namespace foundation::storage::vfs {

/// An exclusive lock on an open file, for as long as this object lives. It is that of flock(2): it belongs to the open
/// file, so that it keeps apart threads of a process as well as processes. It binds only those who ask for it. Where
/// the file system has no such locks, or somebody does not let go of one, this goes on without: what it keeps apart is
/// looked at once more afterwards.
class FileLock {
public:
    enum class Wait { No, AFewSeconds };

    /// @param descriptor  open for longer than this object lives.
    FileLock(int descriptor, Wait wait) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    bool isTakenByAnother() const noexcept { return takenByAnother_; }

private:
    int descriptor_;
    bool takenByAnother_;
};

}  // namespace foundation::storage::vfs
