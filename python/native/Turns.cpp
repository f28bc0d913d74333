#include "Turns.hpp"

#include "Call.hpp"
#include "Failure.hpp"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <pthread.h>
#include <thread>

namespace flowbook::python {

namespace {

/// A caller that leaves lets the worker that waits for it know at that time.
constexpr std::chrono::milliseconds kUntilNextLook(50);
constexpr int kLooksAtTheEnd = 20;

}  // namespace

struct Turns::State {
    /// A thread that waits for a turn.
    struct Wait {
        std::thread::id thread;
        const State* awaited;
    };

    /// What all turns share, so that threads which wait for each other are found out.
    struct Shared {
        std::mutex mutex;
        std::list<Wait> waits;
        unsigned forkCount = 0;
    };

    static Shared& shared();

    bool isTakenByCallerOf(std::thread::id thread) const;
    void refuseCallsOf(std::thread::id thread) const;
    bool isHeldUpBy(std::thread::id thread, std::size_t steps) const;
    void wait(std::unique_lock<std::mutex>& lock, const Call& call);

    std::condition_variable given;
    const Call* owner = nullptr;
};

/// In a forked process the mutex may be locked, and those that wait are not there, so all begins anew.
Turns::State::Shared& Turns::State::shared() {
    static Shared* shared = new Shared;
    static const int registered = pthread_atfork(nullptr, nullptr, [] {
        const unsigned forkCount = shared->forkCount + 1;
        shared = new Shared;
        shared->forkCount = forkCount;
    });
    (void)registered;
    return *shared;
}

bool Turns::State::isTakenByCallerOf(std::thread::id thread) const {
    return owner != nullptr && owner->caller() == thread && !owner->isLeft();
}

void Turns::State::refuseCallsOf(std::thread::id thread) const {
    if (isTakenByCallerOf(thread)) {
        throw Refusal("misuse", "the flowbook is used by the file object or the signal handler that it calls");
    }
}

/// Whether the turn is given up only after the thread has got what it waits for. A thread that waits keeps what it has.
bool Turns::State::isHeldUpBy(std::thread::id thread, std::size_t steps) const {
    if (isTakenByCallerOf(thread)) {
        return true;
    }
    const std::list<Wait>& waits = shared().waits;
    return steps != 0 && std::any_of(waits.begin(), waits.end(), [&](const Wait& each) {
               return isTakenByCallerOf(each.thread) && each.awaited->isHeldUpBy(thread, steps - 1);
           });
}

void Turns::State::wait(std::unique_lock<std::mutex>& lock, const Call& call) {
    std::list<Wait>& waits = shared().waits;
    const auto own = waits.insert(waits.end(), {call.caller(), this});
    const std::shared_ptr<const void> noted(&*own, [&](const void*) { waits.erase(own); });
    int looksAtTheEnd = 0;
    while (!given.wait_for(lock, kUntilNextLook, [&] { return owner == nullptr; })) {
        call.refuseIfLeft();
        if (isHeldUpBy(call.caller(), waits.size())) {
            throw Refusal("misuse", "two threads use each other's flowbooks in file objects, and would wait for ever");
        }
        // A thread that reads a file object stays in there when the interpreter ends, and never gives its turn up.
        looksAtTheEnd += _Py_IsFinalizing() != 0 ? 1 : 0;
        if (looksAtTheEnd > kLooksAtTheEnd) {
            throw Refusal("misuse", "another thread was at work on the flowbook when the interpreter ended");
        }
    }
}

Turns::Turns() : state_(std::make_unique<State>()), forks_(State::shared().forkCount) {}

Turns::~Turns() = default;

Turns::Turn::Turn(Turns& turns) : turns_(turns) {
    const Call& call = *Call::current();
    State& state = *turns_.state_;
    std::unique_lock<std::mutex> lock(State::shared().mutex);
    state.refuseCallsOf(call.caller());
    if (state.owner != nullptr) {
        state.wait(lock, call);
    }
    state.owner = &call;
}

Turns::Turn::~Turn() {
    State& state = *turns_.state_;
    const std::lock_guard<std::mutex> lock(State::shared().mutex);
    state.owner = nullptr;
    state.given.notify_one();
}

bool Turns::mendAfterFork() {
    if (forks_ == State::shared().forkCount) {
        return false;
    }
    forks_ = State::shared().forkCount;
    // What the threads of the parent left of the condition is of no use, nor can it be destroyed.
    const State* before = state_.release();
    state_ = std::make_unique<State>();
    const bool isOwn = before->isTakenByCallerOf(std::this_thread::get_id());
    state_->owner = isOwn ? before->owner : nullptr;
    return before->owner != nullptr && !isOwn;
}

void Turns::refuseOwnCalls() {
    const std::lock_guard<std::mutex> lock(State::shared().mutex);
    state_->refuseCallsOf(std::this_thread::get_id());
}

bool Turns::isTaken() {
    const std::lock_guard<std::mutex> lock(State::shared().mutex);
    return state_->owner != nullptr;
}

}  // namespace flowbook::python
