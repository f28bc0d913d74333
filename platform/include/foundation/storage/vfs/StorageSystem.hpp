#pragma once

#include "foundation/storage/vfs/ReadableFile.hpp"
#include "foundation/storage/vfs/Replacement.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <memory>
#include <string>

namespace foundation::storage::vfs {

/// A place that holds files by name. Names are UTF-16; what they mean is the storage's business.
/// Implementations are safe to use from several threads; the objects they hand out are not.
class PXPLATFORM_EXPORT StorageSystem {
public:
    StorageSystem() = default;
    StorageSystem(const StorageSystem&) = delete;
    StorageSystem& operator=(const StorageSystem&) = delete;
    virtual ~StorageSystem() = default;

    /// Whether there is a file (or anything else) under that name.
    /// @throws StorageError when that cannot be found out.
    virtual bool exists(const std::u16string& name) const = 0;

    /// Returns a name that always means what `name` means now. That is the name itself, unless names of the storage
    /// depend on something that changes, such as a working directory.
    virtual std::u16string anchored(const std::u16string& name) const { return name; }

    /// @throws StorageError, with kind NotFound when there is no such file.
    virtual std::unique_ptr<ReadableFile> openForReading(const std::u16string& name) const = 0;

    /// Begins to replace, or to create, a file. The storage must outlive the replacement.
    /// @param replaced  the file to be replaced, opened from this storage under this name, and alive
    ///                  until the replacement is gone; null to create a file that must not exist.
    /// @throws StorageError, also when it is clear at once that the commit could not work.
    virtual std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile* replaced) = 0;
};

}  // namespace foundation::storage::vfs
