#include "Turns.hpp"

#include "Call.hpp"
#include "Failure.hpp"

#include <chrono>
#include <pthread.h>

namespace flowbook::python {

namespace {

/// A caller that leaves lets the worker that waits for it know at that time.
constexpr std::chrono::milliseconds kUntilNextLook(50);
constexpr int kLooksAtTheEnd = 20;

unsigned forkCount = 0;  // changed where no other thread is

unsigned forksSoFar() {
    static const int registered = pthread_atfork(nullptr, nullptr, [] { ++forkCount; });
    (void)registered;
    return forkCount;
}

}  // namespace

Turns::Turns() : state_(std::make_unique<State>()), forks_(forksSoFar()) {}

bool Turns::State::isTakenByCallerOf(std::thread::id thread) const {
    return owner != nullptr && owner->caller() == thread && !owner->isLeft();
}

void Turns::State::refuseCallsOf(std::thread::id thread) const {
    if (isTakenByCallerOf(thread)) {
        throw Refusal("misuse", "the flowbook is used by the file object or the signal handler that it calls");
    }
}

Turns::Turn::Turn(Turns& turns) : turns_(turns) {
    const Call& call = *Call::current();
    State& state = *turns_.state_;
    std::unique_lock<std::mutex> lock(state.mutex);
    state.refuseCallsOf(call.caller());
    int looksAtTheEnd = 0;
    while (!state.given.wait_for(lock, kUntilNextLook, [&] { return state.owner == nullptr; })) {
        call.refuseIfLeft();
        // A thread that reads a file object stays in there when the interpreter ends, and never gives its turn up.
        looksAtTheEnd += _Py_IsFinalizing() != 0 ? 1 : 0;
        if (looksAtTheEnd > kLooksAtTheEnd) {
            throw Refusal("misuse", "another thread was at work on the flowbook when the interpreter ended");
        }
    }
    state.owner = &call;
}

Turns::Turn::~Turn() {
    State& state = *turns_.state_;
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.owner = nullptr;
    state.given.notify_one();
}

bool Turns::mendAfterFork() {
    if (forks_ == forksSoFar()) {
        return false;
    }
    forks_ = forksSoFar();
    // What the threads of the parent left of mutex and condition is of no use, nor can it be destroyed.
    const State* before = state_.release();
    state_ = std::make_unique<State>();
    const bool isOwn = before->isTakenByCallerOf(std::this_thread::get_id());
    state_->owner = isOwn ? before->owner : nullptr;
    return before->owner != nullptr && !isOwn;
}

void Turns::refuseOwnCalls() {
    const std::lock_guard<std::mutex> lock(state_->mutex);
    state_->refuseCallsOf(std::this_thread::get_id());
}

bool Turns::isTaken() {
    const std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->owner != nullptr;
}

}  // namespace flowbook::python
