#pragma once

#include "foundation/storage/vfs/ReadableFile.hpp"

#include <mutex>
#include <pybind11/pybind11.h>
#include <string>

namespace flowbook::python {

/// A binary file object of Python, read by ranges through its seek() and read(). Whatever it does, and however it
/// lies, is a failure and no more: nothing of C++ is lent to it.
class PythonFile : public foundation::storage::vfs::ReadableFile {
public:
    /// Takes the interpreter lock to be held. @throws what the file object raises.
    explicit PythonFile(pybind11::object file);
    ~PythonFile() override;

    const pybind11::object& object() const { return file_; }

    std::uint64_t size() const override { return size_; }

    /// Takes the interpreter lock. @throws StorageError; what the object raised is kept for takeRaised().
    void read(std::uint64_t offset, void* to, std::size_t count) const override;

    /// The exception that the object raised since the last call; None when there is none. Takes the lock to be held.
    pybind11::object takeRaised() const;

private:
    void readSome(std::uint64_t offset, void* to, std::size_t count) const;
    [[noreturn]] void keep(pybind11::error_already_set& raised) const;

    pybind11::object file_;
    std::uint64_t size_;
    mutable pybind11::object raised_ = pybind11::none();
};

}  // namespace flowbook::python
