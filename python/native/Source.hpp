#pragma once

#include "HeldStorage.hpp"
#include "LocalVersion.hpp"
#include "PythonFile.hpp"
#include "fl/Bytes.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"

#include <string>

namespace flowbook::python {

/// The address of a flowbook in any storage of this binding; messages have the user's name in its place.
extern const std::u16string& kName;

/// A path in both forms: UTF-16 as the storage takes it, where a byte that is not UTF-8 is U+DC80 to U+DCFF, and the
/// bytes of the system.
struct LocalPath {
    std::u16string utf16;
    std::string native;
};

/// Where a flowbook was read from.
struct Source {
    HeldStorage::File file{};
    std::shared_ptr<const LocalVersion> local{};  ///< the same as `file` where that is a file of the machine
    std::shared_ptr<const PythonFile> object{};   ///< the same as `file` where that is an object of Python

    /// The file, for reading only.
    foundation::storage::vfs::StorageSystemReference storage() const;

    /// All of it. @throws StorageError.
    fl::Bytes bytes() const;

    /// @throws StorageError.
    static Source ofPath(const LocalPath& path);
    static Source ofBytes(fl::Bytes bytes);
    static Source ofObject(pybind11::object file);
};

}  // namespace flowbook::python
