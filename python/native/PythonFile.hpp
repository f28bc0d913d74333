#pragma once

#include "foundation/storage/vfs/ReadableFile.hpp"

#include <pybind11/pybind11.h>

namespace flowbook::python {

/// A binary file object of Python, read by ranges through its seek() and read() on the thread that calls. A file
/// object that fails or gives wrong answers causes an error and nothing worse, as no memory of C++ is lent to it.
class PythonFile : public foundation::storage::vfs::ReadableFile {
public:
    /// Requires the interpreter lock. @throws what the file object raises.
    explicit PythonFile(pybind11::object file);
    ~PythonFile() override;

    PyObject* object() const { return file_; }

    std::uint64_t size() const override { return size_; }

    /// Has the current call read. @throws StorageError.
    void read(std::uint64_t offset, void* to, std::size_t count) const override;

    /// Reads on this thread; requires the lock. @returns whether that went well; if not, Python's error is set.
    /// @throws StorageError for answers that are wrong.
    bool readSome(std::uint64_t offset, void* to, std::size_t count) const;

private:
    PyObject* file_;
    std::uint64_t size_;
};

}  // namespace flowbook::python
