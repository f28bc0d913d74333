#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace flowbook::python {

class Call;

/// Lets one thread at a time work on an object; others wait. Also right in a process that was forked while another
/// thread, which the child does not have, was at work.
class Turns {
public:
    Turns();

    class Turn {
    public:
        /// Waits until the current call has its turn. Requires that the interpreter lock is released.
        /// @throws Refusal when the calling thread waits for another call that has the turn: a file object or the
        ///         handler of a signal uses the flowbook that calls it. StorageError when the caller has left.
        explicit Turn(Turns& turns);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Turns& turns_;
    };

    /// To be called before a turn, with the interpreter lock held.
    /// @returns whether another thread was at work when this process was forked, so that what it worked on is torn.
    bool mendAfterFork();

    bool isTaken();

    /// @throws Refusal when the calling thread waits for a call that has the turn.
    void refuseOwnCalls();

private:
    struct State {
        std::mutex mutex;
        std::condition_variable given;
        const Call* owner = nullptr;

        bool isTakenByCallerOf(std::thread::id thread) const;
        void refuseCallsOf(std::thread::id thread) const;
    };

    std::unique_ptr<State> state_;
    unsigned forks_;
};

}  // namespace flowbook::python
