#include "PythonFile.hpp"

#include "Lock.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <cstdio>
#include <cstring>
#include <utility>

namespace flowbook::python {

namespace py = pybind11;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

namespace {

[[noreturn]] void fail(const std::string& words) { throw StorageError(StorageErrorKind::Other, words); }

std::uint64_t sizeOf(const py::object& file) {
    file.attr("seek")(0, SEEK_END);
    const auto size = py::reinterpret_steal<py::object>(PyNumber_Index(file.attr("tell")().ptr()));
    const std::uint64_t value = size ? PyLong_AsUnsignedLongLong(size.ptr()) : 0;
    if (PyErr_Occurred() != nullptr) {
        throw py::error_already_set();
    }
    return value;
}

}  // namespace

PythonFile::PythonFile(py::object file) : file_(std::move(file)), size_(sizeOf(file_)) {}

PythonFile::~PythonFile() {
    const Locked locked;
    file_ = py::object();
    raised_ = py::object();
}

void PythonFile::read(std::uint64_t offset, void* to, std::size_t count) const {
    const Locked locked;
    try {
        readSome(offset, to, count);
    } catch (py::error_already_set& raised) {
        keep(raised);
    }
}

void PythonFile::readSome(std::uint64_t offset, void* to, std::size_t count) const {
    file_.attr("seek")(offset);
    for (std::size_t done = 0; done < count;) {
        const py::object piece = file_.attr("read")(count - done);
        if (!PyBytes_Check(piece.ptr())) {
            fail("the file object is none of a binary file: read() gave no bytes");
        }
        const auto size = static_cast<std::size_t>(PyBytes_GET_SIZE(piece.ptr()));
        if (size == 0 || size > count - done) {
            fail("the file object gave " + std::to_string(size) + " bytes where " + std::to_string(count - done) +
                 " were asked for");
        }
        std::memcpy(static_cast<char*>(to) + done, PyBytes_AS_STRING(piece.ptr()), size);
        done += size;
    }
}

void PythonFile::keep(py::error_already_set& raised) const {
    raised_ = raised.value();
    fail(std::string("the file object failed: ") + raised.what());
}

py::object PythonFile::takeRaised() const { return std::exchange(raised_, py::none()); }

}  // namespace flowbook::python
