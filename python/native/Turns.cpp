#include "Turns.hpp"

#include "Failure.hpp"

namespace flowbook::python {

Turns::Turn::Turn(Turns& turns) : turns_(turns) {
    // Only this thread can have made it the owner, so nothing changes between the question and the lock.
    if (turns_.owner_ == std::this_thread::get_id()) {
        throw Refusal("misuse", "the flowbook is used by the file object that it is read from");
    }
    turns_.mutex_.lock();
    turns_.owner_ = std::this_thread::get_id();
}

Turns::Turn::~Turn() {
    turns_.owner_ = std::thread::id();
    turns_.mutex_.unlock();
}

}  // namespace flowbook::python
