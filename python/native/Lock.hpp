#pragma once

#include <pybind11/pybind11.h>
#include <unistd.h>

namespace flowbook::python {

/// Takes the interpreter lock by `take`. When the interpreter has ended meanwhile, Python ends the thread in there, by
/// an unwinding that would meet destructors which must not fail, and give back objects without the lock. The thread
/// stays where it is instead, until the process ends, which it does not hold up; Python itself does so from 3.14 on.
template <class Take>
auto orStay(Take take) {
    try {
        return take();
    } catch (...) {  // Python's calls throw nothing else
        while (true) {
            pause();
        }
    }
}

/// Without the interpreter lock, which is held before and after.
class Unlocked {
public:
    Unlocked() : state_(PyEval_SaveThread()) {}
    ~Unlocked() {
        orStay([this] { PyEval_RestoreThread(state_); });
    }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    PyThreadState* state_;
};

/// With the interpreter lock, whether it was held before or not.
class Locked {
public:
    Locked() : state_(orStay([] { return PyGILState_Ensure(); })) {}
    ~Locked() { PyGILState_Release(state_); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    PyGILState_STATE state_;
};

}  // namespace flowbook::python
