#include "Call.hpp"

#include "PythonFile.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <sys/syscall.h>
#include <system_error>
#include <thread>

namespace flowbook::python {

namespace py = pybind11;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

namespace {

/// How long a signal waits at most, besides the time for taking the interpreter lock.
constexpr std::chrono::milliseconds kBetweenLooks(20);

thread_local Call* currentCall = nullptr;

/// With all signals blocked, so that a thread started meanwhile gets none of those that Python's threads wait for.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

}  // namespace

Call::~Call() { dropRaised(); }

Call* Call::current() noexcept { return currentCall; }

Call::Worker::Worker(Call* call) noexcept : before_(currentCall) { currentCall = call; }

Call::Worker::~Worker() { currentCall = before_; }

// Python runs the handlers of signals in the main thread alone, so calls of other threads need no thread apart.
bool isMainThread() noexcept { return syscall(SYS_gettid) == getpid(); }

void Call::refuseIfLeft() const {
    if (isLeft_) {
        throw StorageError(StorageErrorKind::Other, "the call was interrupted");
    }
}

void Call::run(bool apart) {
    isApart_ = apart && isMainThread() && workApart();
    if (isApart_) {
        serveUntilDone();
    } else {
        const Unlocked unlocked;
        workHere();
    }
}

void Call::workHere() noexcept {
    const Worker worker(this);
    try {
        work();
    } catch (...) {
        failure_ = std::current_exception();
    }
}

/// False where no thread can be started.
bool Call::workApart() {
    isApart_ = true;
    try {
        const SignalsBlocked blocked;
        // The thread keeps the call alive, as the caller may leave it when a handler raises.
        std::thread([self = shared_from_this()] {
            markAsOwnThread();
            self->workHere();
            const std::lock_guard<std::mutex> lock(self->mutex_);
            self->isDone_ = true;
            self->changed_.notify_all();
        }).detach();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void Call::serveUntilDone() {
    while (true) {
        Request* request = nullptr;
        {
            const Unlocked unlocked;
            std::unique_lock<std::mutex> lock(mutex_);
            // A signal does not wake the wait: the system calls its handler, which notes the signal for Python, and
            // goes on waiting.
            changed_.wait_for(lock, kBetweenLooks, [this] { return isDone_ || !requests_.empty(); });
            if (isDone_) {
                return;
            }
            if (!requests_.empty()) {
                request = requests_.front();
                requests_.pop_front();
            }
        }
        if (request != nullptr) {
            serve(*request);
        }
        // Requires the interpreter lock, which was taken again at the end of the block above.
        if (PyErr_CheckSignals() != 0) {
            leave();
            throw py::error_already_set();
        }
    }
}

/// No thread waits for the lock while the caller reads, as the one that asked waits for the answer.
void Call::serve(Request& request) {
    try {
        readNow(request.file, request.offset, request.to, request.count);
    } catch (...) {
        request.failure = std::current_exception();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    request.isDone = true;
    changed_.notify_all();
}

void Call::leave() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isLeft_ = true;
    changed_.notify_all();
}

void Call::read(const PythonFile& file, std::uint64_t offset, void* to, std::size_t count) {
    if (!isApart_) {
        if (!Locked::isPossible()) {
            throw StorageError(StorageErrorKind::Other, "the file object is read by another thread than the caller's");
        }
        const Locked locked;
        readNow(file, offset, to, count);
        return;
    }
    Request request{file, offset, to, count};
    std::unique_lock<std::mutex> lock(mutex_);
    requests_.push_back(&request);
    changed_.notify_all();
    changed_.wait(lock, [&] { return request.isDone || isLeft_; });
    if (!request.isDone) {
        // The request lies on this thread's stack, and the caller could otherwise still find it in the queue.
        requests_.erase(std::remove(requests_.begin(), requests_.end(), &request), requests_.end());
        lock.unlock();
        refuseIfLeft();
    }
    if (request.failure) {
        std::rethrow_exception(request.failure);
    }
}

/// Requires the lock.
void Call::readNow(const PythonFile& file, std::uint64_t offset, void* to, std::size_t count) {
    if (file.readSome(offset, to, count)) {
        return;
    }
    if (raised_[0] == nullptr) {
        // The first exception is kept for the caller, who gets it as it was raised. Later ones are often its
        // consequence.
        PyErr_Fetch(&raised_[0], &raised_[1], &raised_[2]);
        noteIfGone();
    } else {
        PyErr_Clear();
    }
    throw StorageError(StorageErrorKind::Other, "the file object failed");
}

bool Call::hasRaised() const noexcept { return raised_[0] != nullptr; }

/// Requires the lock.
void Call::noteIfGone() {
    if (PyErr_GivenExceptionMatches(raised_[0], PyExc_FileNotFoundError) == 0) {
        return;
    }
    PyObject* const words = raised_[1] == nullptr ? nullptr : PyObject_Str(raised_[1]);
    const char* const text = words == nullptr ? nullptr : PyUnicode_AsUTF8(words);
    gone_ = text == nullptr ? "" : text;
    PyErr_Clear();
    giveBack(words);
}

std::optional<std::string> Call::takeGone() {
    if (gone_) {
        dropRaised();
    }
    return std::exchange(gone_, std::nullopt);
}

void Call::dropRaised() {
    std::for_each(std::begin(raised_), std::end(raised_), &giveBack);
    std::fill(std::begin(raised_), std::end(raised_), nullptr);
}

void Call::raiseKept() {
    if (raised_[0] != nullptr) {
        PyErr_Restore(raised_[0], raised_[1], raised_[2]);
        std::fill(std::begin(raised_), std::end(raised_), nullptr);
        throw py::error_already_set();
    }
}

}  // namespace flowbook::python
