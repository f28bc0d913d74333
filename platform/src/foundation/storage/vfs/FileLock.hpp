#pragma once

#include "foundation/storage/vfs/Descriptor.hpp"

namespace foundation::storage::vfs {

/// An exclusive lock on an open file, held as long as this object lives. It is a lock of flock(2), or where a file
/// system has none, one of fcntl(2) for open file descriptions. Both belong to the open file, so that they separate the
/// threads of a process as well as processes. NFS grants such a lock only on a descriptor that may write, so the file
/// is opened once more there. The lock binds only programs that ask for it. Where there are no locks, or where another
/// program holds one for too long, the caller goes on without: the lock makes conflicts rare, and the look after the
/// exchange finds them.
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
    Answer tryFlock() const noexcept;
    Answer tryRecordLock() noexcept;
    bool mayWrite(int descriptor) noexcept;

    int descriptor_;
    Descriptor writable_;        ///< the same file, opened once more for a lock that needs the right to write
    bool isRecordLock_ = false;  ///< whether the lock is one of fcntl(2)
    Answer answer_ = Answer::NoSuchLocks;
};

}  // namespace foundation::storage::vfs
