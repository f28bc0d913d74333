#include "PythonFile.hpp"

#include "Call.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <cstdio>
#include <cstring>

namespace flowbook::python {

namespace py = pybind11;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

namespace {

[[noreturn]] void fail(const std::string& words) { throw StorageError(StorageErrorKind::Other, words); }

/// Holds a result of Python; giving it back may run code of Python.
struct GiveBack {
    void operator()(PyObject* object) const { giveBack(object); }
};
using Held = std::unique_ptr<PyObject, GiveBack>;

PyObject* seek(PyObject* file, unsigned long long offset, int whence) {
    return callMethod(file, "seek", "Ki", offset, whence);
}

std::uint64_t sizeOf(PyObject* file) {
    const Held sought(seek(file, 0, SEEK_END));
    const Held place(sought ? callMethod(file, "tell", nullptr) : nullptr);
    const Held size(place ? PyNumber_Index(place.get()) : nullptr);
    const std::uint64_t value = size ? PyLong_AsUnsignedLongLong(size.get()) : 0;
    if (PyErr_Occurred() != nullptr) {
        throw py::error_already_set();
    }
    return value;
}

}  // namespace

PythonFile::PythonFile(py::object file) : file_(file.ptr()), size_(sizeOf(file_)) { Py_INCREF(file_); }

PythonFile::~PythonFile() { giveBack(file_); }

void PythonFile::read(std::uint64_t offset, void* to, std::size_t count) const {
    Call* call = Call::current();
    if (call == nullptr) {
        fail("the file object is read outside of any call");
    }
    call->read(*this, offset, to, count);
}

bool PythonFile::readSome(std::uint64_t offset, void* to, std::size_t count) const {
    const Held sought(seek(file_, offset, SEEK_SET));
    if (!sought) {
        return false;
    }
    for (std::size_t done = 0; done < count;) {
        const std::size_t wanted = count - done;
        const Held piece(callMethod(file_, "read", "n", wanted));
        if (!piece) {
            return false;
        }
        if (!PyBytes_Check(piece.get())) {
            fail("the file object is not a binary file: read() gave no bytes");
        }
        const auto size = static_cast<std::size_t>(PyBytes_GET_SIZE(piece.get()));
        if (size == 0 || size > wanted) {
            fail("the file object gave " + std::to_string(size) + " bytes where " + std::to_string(wanted) +
                 " were asked for");
        }
        std::memcpy(static_cast<char*>(to) + done, PyBytes_AS_STRING(piece.get()), size);
        done += size;
    }
    return true;
}

}  // namespace flowbook::python
