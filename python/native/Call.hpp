#pragma once

#include "Lock.hpp"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

namespace flowbook::python {

class PythonFile;

/// A call from Python that is under way. Its work is done without the interpreter lock: on the calling thread, or,
/// where it may take long and the calling thread is the one that answers signals, on a thread of its own while the
/// caller looks for signals. When a signal's handler raises (Ctrl-C), the caller leaves at once; what is then still at
/// work stops at its next read or write of a file, and touches nothing but what it shares.
///
/// File objects are read by the calling thread alone, so what they raise belongs to this call.
class Call : public std::enable_shared_from_this<Call> {
public:
    Call() = default;
    virtual ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// The call that the current thread works for; null outside of calls.
    static Call* current() noexcept;

    /// Lets the current thread work for a call, such as one that the work has started.
    class Worker {
    public:
        explicit Worker(Call* call) noexcept;
        ~Worker();
        Worker(const Worker&) = delete;
        Worker& operator=(const Worker&) = delete;

    private:
        Call* before_;
    };

    /// The thread that waits for the call.
    std::thread::id caller() const noexcept { return caller_; }

    /// Whether the caller has left, as a signal's handler raised.
    bool isLeft() const noexcept { return isLeft_; }

    /// @throws StorageError when the caller has left.
    void refuseIfLeft() const;

    /// Reads from a file object. @throws StorageError; what the object raised is kept for the caller.
    void read(const PythonFile& file, std::uint64_t offset, void* to, std::size_t count);

    /// Whether a file object raised something that was not taken yet.
    bool hasRaised() const noexcept;

    /// Takes what a file object raised, if that says that its file is gone. @returns its words.
    std::optional<std::string> takeGone();

    /// Does the work. Requires the lock; raises in Python what a signal's handler raised.
    /// @param apart  whether the work may take long.
    void run(bool apart);

    /// Raises what a file object raised, if it did. Requires the lock.
    void raiseKept();

    const std::exception_ptr& failure() const noexcept { return failure_; }

private:
    struct Request {
        const PythonFile& file;
        std::uint64_t offset;
        void* to;
        std::size_t count;
        bool isDone = false;
        std::exception_ptr failure{};
    };

    virtual void work() = 0;
    void workHere() noexcept;
    bool workApart();
    void serveUntilDone();
    void serve(Request& request);
    void readNow(const PythonFile& file, std::uint64_t offset, void* to, std::size_t count);
    void noteIfGone();
    void dropRaised();
    void leave();

    const std::thread::id caller_ = std::this_thread::get_id();
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Request*> requests_;
    bool isDone_ = false;
    std::atomic<bool> isLeft_{false};
    bool isApart_ = false;
    std::exception_ptr failure_;
    PyObject* raised_[3] = {nullptr, nullptr, nullptr};  ///< as PyErr_Fetch gives it
    std::optional<std::string> gone_;                    ///< the words of what was raised, where the file is gone
};

/// Whether signals are answered by the current thread.
bool isMainThread() noexcept;

/// A call whose work gives a value.
template <class Work>
class CallOf : public Call {
public:
    using Result = std::invoke_result_t<Work>;

    explicit CallOf(Work work) : work_(std::move(work)) {}

    Result take() { return std::move(*result_); }

private:
    void work() override { result_.emplace(work_()); }

    Work work_;
    std::optional<Result> result_;
};

}  // namespace flowbook::python
