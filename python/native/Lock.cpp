#include "Lock.hpp"

#include <atomic>
#include <utility>

namespace flowbook::python {

namespace {

/// The state that the current thread takes the lock with; null while it has the lock.
thread_local PyThreadState* released = nullptr;
thread_local bool isOwn = false;

/// An object that waits for a thread with the lock. No mutex guards the list, which a fork could leave locked.
struct Kept {
    PyObject* object;
    Kept* next;
};
std::atomic<Kept*> allKept{nullptr};

}  // namespace

void giveBack(PyObject* object) {
    if (object == nullptr) {
        return;
    }
    if (!isOwn && released == nullptr) {
        Py_DECREF(object);
        return;
    }
    Kept* const kept = new Kept{object, allKept.load()};
    while (!allKept.compare_exchange_weak(kept->next, kept)) {
    }
}

void giveBackKept() {
    for (Kept* each = allKept.exchange(nullptr); each != nullptr;) {
        Py_DECREF(each->object);
        delete std::exchange(each, each->next);
    }
}

void markAsOwnThread() { isOwn = true; }

Unlocked::Unlocked() : state_(PyEval_SaveThread()) { released = state_; }

Unlocked::~Unlocked() {
    PyEval_RestoreThread(state_);
    released = nullptr;
    giveBackKept();
}

bool Locked::isPossible() { return released != nullptr; }

Locked::Locked() : state_(released) {
    PyEval_RestoreThread(state_);
    released = nullptr;
}

Locked::~Locked() {
    PyEval_SaveThread();
    released = state_;
}

}  // namespace flowbook::python
