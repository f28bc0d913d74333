#pragma once

#include "foundation/storage/vfs/Descriptor.hpp"

namespace foundation::storage::vfs {

/// An exclusive lock on an open file, for as long as this object lives. It is that of flock(2), or where a file system
/// has none, one of fcntl(2) for open file descriptions: both belong to the open file, so that they keep apart threads
/// of a process as well as processes. Over NFS, which asks for a descriptor that may write, the file is opened once
/// more for that. A lock binds only those who ask for it. Where there are no locks, or somebody does not let go of one,
/// this goes on without: what it keeps apart is looked at once more afterwards.
class FileLock {
public:
    enum class Wait { No, AFewSeconds };

    /// @param descriptor  open for longer than this object lives.
    FileLock(int descriptor, Wait wait) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    bool isTakenByAnother() const noexcept { return answer_ == Answer::TakenByAnother; }

private:
    enum class Answer { Mine, TakenByAnother, NoSuchLocks };

    Answer tryLock(int descriptor) noexcept;
    Answer tryFlock() noexcept;
    Answer tryRecordLock() noexcept;
    bool mayWrite(int descriptor) noexcept;

    int descriptor_;
    Descriptor writable_;  ///< the same file, opened once more
    bool isRecordLock_ = false;
    Answer answer_ = Answer::NoSuchLocks;
};

}  // namespace foundation::storage::vfs
