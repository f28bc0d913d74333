#pragma once

#include "foundation/storage/vfs/Descriptor.hpp"
#include "foundation/storage/vfs/FileIdentity.hpp"
#include "foundation/storage/vfs/ReadableFile.hpp"

#include <string>

namespace foundation::storage::vfs {

/// Reads exactly `count` bytes of an open file. @param path  names it in errors. @throws StorageError
void readExactly(int descriptor, const std::string& path, std::uint64_t offset, void* to, std::size_t count);

/// A regular file of the machine. It is read by pread(2), not mapped: a mapping of a file that another program
/// truncates kills the whole process.
class LocalFile final : public ReadableFile {
public:
    /// @throws StorageError when there is no file of that name, or what there is cannot be read or is no regular file.
    explicit LocalFile(std::string path);

    std::uint64_t size() const override { return identity_.size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override;

    int descriptor() const noexcept { return descriptor_.get(); }

    /// The identity as it was when the file was opened: the version that a replacement must find unchanged.
    const FileIdentity& identity() const noexcept { return identity_; }

    /// The identity as it is now. It may differ from identity() in the inode number alone: file systems in user space
    /// give out new ones. @throws StorageError, of kind Conflict when a server no longer has the file.
    FileIdentity identityNow() const;

private:
    std::string path_;
    Descriptor descriptor_;
    FileIdentity identity_;
};

}  // namespace foundation::storage::vfs
