#pragma once

#include <atomic>
#include <mutex>
#include <thread>

namespace flowbook::python {

/// Lets one thread at a time work on an object; others wait. Taken with the interpreter lock released.
class Turns {
public:
    class Turn {
    public:
        /// @throws Refusal when this thread is at it already: a file object uses the flowbook that reads it.
        explicit Turn(Turns& turns);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Turns& turns_;
    };

private:
    std::mutex mutex_;
    std::atomic<std::thread::id> owner_{};
};

}  // namespace flowbook::python
