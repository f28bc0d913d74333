#pragma once

#include "fl/PlatformExport.hpp"

#include <cstddef>
#include <cstdint>

namespace foundation::storage::vfs {

/// A file opened for positioned reading. It keeps reading the version that was opened, also after the
/// name has been given to another file. One object is used by one thread at a time.
class PXPLATFORM_EXPORT ReadableFile {
public:
    ReadableFile() = default;
    ReadableFile(const ReadableFile&) = delete;
    ReadableFile& operator=(const ReadableFile&) = delete;
    virtual ~ReadableFile() = default;

    /// In bytes, as it was when the file was opened.
    virtual std::uint64_t size() const = 0;

    /// Reads exactly `count` bytes from `offset` on.
    /// @throws StorageError when the device fails or the file ends before that.
    virtual void read(std::uint64_t offset, void* to, std::size_t count) const = 0;
};

}  // namespace foundation::storage::vfs
