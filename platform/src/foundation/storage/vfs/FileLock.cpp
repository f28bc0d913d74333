#include "foundation/storage/vfs/FileLock.hpp"

#include <cerrno>
#include <chrono>
#include <sys/file.h>
#include <thread>

namespace foundation::storage::vfs {
namespace {

using Clock = std::chrono::steady_clock;

/// Writers of this library hold it for two renames; these may have to wait for a journal, and seldom take a second.
constexpr std::chrono::seconds kPatience(5);

/// Returns whether somebody else has the lock.
bool lock(int descriptor) noexcept { return ::flock(descriptor, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK; }

/// Asks again and again, as a wait within flock(2) cannot be limited but by a signal, which belongs to the host.
bool lockWaiting(int descriptor) noexcept {
    std::chrono::milliseconds pause(1);
    const auto end = Clock::now() + kPatience;
    bool taken = lock(descriptor);
    for (; taken && Clock::now() < end; taken = lock(descriptor)) {
        std::this_thread::sleep_for(pause);
        pause = pause < std::chrono::milliseconds(20) ? pause * 2 : pause;
    }
    return taken;
}

}  // namespace

FileLock::FileLock(int descriptor, Wait wait) noexcept
    : descriptor_(descriptor), takenByAnother_(wait == Wait::No ? lock(descriptor) : lockWaiting(descriptor)) {}

/// Said aloud, as closing does not unlock when a forked child has the file open too.
FileLock::~FileLock() {
    if (!takenByAnother_) {
        ::flock(descriptor_, LOCK_UN);
    }
}

}  // namespace foundation::storage::vfs
