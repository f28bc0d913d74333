#pragma once

#include "opc/FileSystemOps.hpp"

namespace opc {

/// Chooses the file-system operations for a path. Copyable; copies share the storage.
class PXPLATFORM_EXPORT FileSystemOpsSelector {
public:
    /// Every path is a plain path of the machine's file system.
    FileSystemOpsSelector();

    /// Every path is a name in the given storage.
    explicit FileSystemOpsSelector(const foundation::storage::vfs::StorageSystemReference& storage);

    FileSystemOps getForPath(const std::u16string& path) const;

private:
    FileSystemOps ops_;
};

}  // namespace opc
