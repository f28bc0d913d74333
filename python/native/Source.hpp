#pragma once

#include "HeldStorage.hpp"
#include "PythonFile.hpp"
#include "fl/Bytes.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"

#include <string>

namespace flowbook::python {

/// The address of a flowbook in any storage of this binding; messages have the user's name in its place.
extern const std::u16string kName;

/// Where a flowbook was read from.
struct Source {
    HeldStorage::File file;
    std::u16string path{};                       ///< where a save goes back to; empty when the source is no file
    std::shared_ptr<const PythonFile> object{};  ///< the same as `file` where that is an object of Python

    /// The file, for reading only.
    foundation::storage::vfs::StorageSystemReference storage() const;

    /// @throws StorageError.
    static Source ofPath(const std::u16string& path);
    static Source ofBytes(fl::Bytes bytes);
    static Source ofObject(pybind11::object file);
};

}  // namespace flowbook::python
