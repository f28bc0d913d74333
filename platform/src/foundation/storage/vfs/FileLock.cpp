// Locks that belong to an open file description, as both flock(2) and F_OFD_SETLK give them. Plain fcntl(2) locks would
// not do: they belong to the process, which loses all of them when it closes any descriptor of the file.
#include "foundation/storage/vfs/FileLock.hpp"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>

namespace foundation::storage::vfs {
namespace {

using Clock = std::chrono::steady_clock;

/// Writers of this library hold the lock for two renames. These may have to wait for a journal, but rarely take as long
/// as a second.
constexpr std::chrono::seconds kPatience(5);

}  // namespace

/// Asks repeatedly instead of waiting in flock(2). Such a wait can be limited only by a signal, and signals belong to
/// the host.
FileLock::FileLock(int descriptor, Wait wait) noexcept : descriptor_(descriptor) {
    std::chrono::milliseconds pause(1);
    const auto end = Clock::now() + (wait == Wait::No ? std::chrono::seconds(0) : kPatience);
    answer_ = tryLock(descriptor);
    for (; isTakenByAnother() && Clock::now() < end; answer_ = tryLock(descriptor)) {
        std::this_thread::sleep_for(pause);
        pause = pause < std::chrono::milliseconds(20) ? pause * 2 : pause;
    }
}

/// Unlocks explicitly. Closing the descriptor would not be enough: a child that was forked meanwhile may hold the same
/// open file description, to which the lock belongs.
FileLock::~FileLock() {
    if (answer_ == Answer::Mine && isRecordLock_) {
        struct flock whole {};
        whole.l_type = F_UNLCK;
        ::fcntl(descriptor_, F_OFD_SETLK, &whole);
    } else if (answer_ == Answer::Mine) {
        ::flock(descriptor_, LOCK_UN);
    }
}

/// Tries the kinds of locks in this order: flock(2); flock(2) on a descriptor that may write, which NFS requires and
/// reports by EBADF; a lock of fcntl(2), for file systems without flock. The kind that worked once is kept, so that
/// repeated tries ask for the same lock.
FileLock::Answer FileLock::tryLock(int descriptor) noexcept {
    Answer answer = isRecordLock_ ? Answer::NoSuchLocks : tryFlock();
    if (answer == Answer::NoSuchLocks && errno == EBADF && mayWrite(descriptor)) {
        answer = tryFlock();
    }
    if (answer == Answer::NoSuchLocks && mayWrite(descriptor)) {
        answer = tryRecordLock();
    }
    return answer;
}

FileLock::Answer FileLock::tryFlock() const noexcept {
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) == 0) {
        return Answer::Mine;
    }
    return errno == EWOULDBLOCK ? Answer::TakenByAnother : Answer::NoSuchLocks;
}

FileLock::Answer FileLock::tryRecordLock() noexcept {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    isRecordLock_ = true;
    if (::fcntl(descriptor_, F_OFD_SETLK, &whole) == 0) {
        return Answer::Mine;
    }
    return errno == EAGAIN || errno == EACCES ? Answer::TakenByAnother : Answer::NoSuchLocks;
}

/// Makes descriptor_ one that may write, by opening the same file once more through /proc, which works after a rename
/// too. Returns false when the process has no right to that.
bool FileLock::mayWrite(int descriptor) noexcept {
    if (!writable_ && (::fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDONLY) {
        char path[64];
        std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
        writable_ = Descriptor(::open(path, O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        descriptor_ = writable_ ? writable_.get() : descriptor;
        return static_cast<bool>(writable_);
    }
    return true;
}

}  // namespace foundation::storage::vfs
