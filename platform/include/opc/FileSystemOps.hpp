#pragma once

#include "foundation/storage/vfs/StorageSystemReference.hpp"

#include <memory>
#include <string>

namespace opc {

/// The operations on files that a package needs, over one storage; a copyable handle. Failures of
/// the storage, and a storage that hands out nothing, arrive as opc::Exception, with the storage's text.
class PXPLATFORM_EXPORT FileSystemOps {
public:
    explicit FileSystemOps(foundation::storage::vfs::StorageSystemReference storage);

    /// @throws opc::Exception when that cannot be found out.
    bool exists(const std::u16string& path) const;

    /// As StorageSystem::anchored. @throws opc::Exception.
    std::u16string anchored(const std::u16string& path) const;

    /// @throws opc::model::PackageNotFound when there is no such file, else opc::Exception.
    std::unique_ptr<foundation::storage::vfs::ReadableFile> openForReading(const std::u16string& path) const;

    /// As StorageSystem::beginReplacement. @throws opc::Exception.
    std::unique_ptr<foundation::storage::vfs::Replacement>
    beginReplacement(const std::u16string& path, const foundation::storage::vfs::ReadableFile* replaced) const;

private:
    foundation::storage::vfs::StorageSystemReference storage_;
};

}  // namespace opc
