#pragma once

#include <memory>

namespace flowbook::python {

/// Lets one thread at a time work on an object; others wait. Also right in a process that was forked while another
/// thread, which the child does not have, was at work.
class Turns {
public:
    Turns();
    ~Turns();
    Turns(const Turns&) = delete;
    Turns& operator=(const Turns&) = delete;

    class Turn {
    public:
        /// Waits until the current call has its turn. Requires that the interpreter lock is released.
        /// @throws Refusal when the calling thread waits for another call that has the turn: a file object or the
        ///         handler of a signal uses the flowbook that calls it. Also when the thread whose call has the turn
        ///         waits, itself or through others, for a turn that the calling thread's call has. StorageError when
        ///         the caller has left.
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
    struct State;

    std::unique_ptr<State> state_;
    unsigned forks_;
};

}  // namespace flowbook::python
