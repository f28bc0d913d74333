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

/// Writers of this library hold it for two renames; these may have to wait for a journal, and seldom take a second.
constexpr std::chrono::seconds kPatience(5);

}  // namespace

/// Asks again and again, as a wait within flock(2) cannot be limited but by a signal, which belongs to the host.
FileLock::FileLock(int descriptor, Wait wait) noexcept : descriptor_(descriptor) {
    std::chrono::milliseconds pause(1);
    const auto end = Clock::now() + (wait == Wait::No ? std::chrono::seconds(0) : kPatience);
    answer_ = tryLock(descriptor);
    for (; isTakenByAnother() && Clock::now() < end; answer_ = tryLock(descriptor)) {
        std::this_thread::sleep_for(pause);
        pause = pause < std::chrono::milliseconds(20) ? pause * 2 : pause;
    }
}

/// Said aloud, as closing does not unlock when a forked child has the file open too.
FileLock::~FileLock() {
    if (answer_ == Answer::Mine && isRecordLock_) {
        struct flock whole {};
        whole.l_type = F_UNLCK;
        ::fcntl(descriptor_, F_OFD_SETLK, &whole);
    } else if (answer_ == Answer::Mine) {
        ::flock(descriptor_, LOCK_UN);
    }
}

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

FileLock::Answer FileLock::tryFlock() noexcept {
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

/// Turns to a descriptor of the same file that may write, if there is one to be had.
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
