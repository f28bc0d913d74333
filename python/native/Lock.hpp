#pragma once

#include <pybind11/pybind11.h>
#include <unistd.h>

namespace flowbook::python {

/// Calls what may run code of Python or take the interpreter lock. When the interpreter has ended meanwhile, Python
/// ends the thread in there by an unwinding, which would meet destructors that must not fail, and objects given back
/// without the lock. The thread stays here instead, until the process ends, which it does not hold up; Python itself
/// does so from 3.14 on. So that no C++ frame is unwound, `call` uses the C functions of Python only and has no object
/// with a destructor.
template <class Call>
auto orStay(Call call) {
    try {
        return call();
    } catch (...) {  // Python's C functions throw nothing else.
        while (true) {
            pause();
        }
    }
}

/// Gives an object back, whose finalizer may be code of Python. Requires the lock.
inline void giveBack(PyObject* object) {
    orStay([object] {
        Py_XDECREF(object);
        return true;
    });
}

/// Without the interpreter lock, which is held before and after.
class Unlocked {
public:
    Unlocked() : state_(PyEval_SaveThread()) {}
    ~Unlocked() {
        orStay([this] {
            PyEval_RestoreThread(state_);
            return true;
        });
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
