#pragma once

#include <pybind11/pybind11.h>
#include <unistd.h>

namespace flowbook::python {

/// Calls a function of Python that may take the interpreter lock. When the interpreter has ended meanwhile, Python ends
/// the thread in there by an unwinding, which would meet destructors that must not fail, and objects given back without
/// the lock. The thread stays here instead, until the process ends, which it does not hold up; Python itself does so
/// from 3.14 on. Stay.cpp has all calls of such functions come through here, those of pybind11 too.
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

/// As PyObject_CallMethod, which the linker cannot lead elsewhere as it takes any number of arguments.
template <class... Arguments>
PyObject* callMethod(PyObject* object, const char* name, const char* format, Arguments... arguments) {
    return orStay([&] { return PyObject_CallMethod(object, name, format, arguments...); });
}

/// Gives an object back. Where the current thread does not hold the lock, the next one does so that takes it here.
void giveBack(PyObject* object);

/// Gives back what threads without the lock wanted to. Requires the lock.
void giveBackKept();

/// Notes that the current thread is none of Python's: it was started here, and never takes the lock, as no thread can
/// that Python does not know when the interpreter ends.
void markAsOwnThread();

/// Without the interpreter lock, which is held before and after, for work that keeps the thread.
class Unlocked {
public:
    Unlocked();
    ~Unlocked();
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    PyThreadState* state_;
};

/// With the lock again, within the work of an Unlocked on the same thread. Python looks at whether it has ended before
/// it touches the state of a thread; a new state, such as PyGILState_Ensure() makes, would be added to an interpreter
/// that may be gone.
class Locked {
public:
    Locked();
    ~Locked();
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    /// Whether the current thread can take the lock.
    static bool isPossible();

private:
    PyThreadState* state_;
};

}  // namespace flowbook::python
