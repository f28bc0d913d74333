#include "opc/FileSystemOpsSelector.hpp"

#include "foundation/storage/vfs/LocalStorage.hpp"

namespace opc {

using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::StorageSystemReference;

FileSystemOpsSelector::FileSystemOpsSelector()
    : FileSystemOpsSelector(StorageSystemReference(std::make_shared<LocalStorage>())) {}

FileSystemOpsSelector::FileSystemOpsSelector(const StorageSystemReference& storage) : ops_(storage) {}

FileSystemOps FileSystemOpsSelector::getForPath(const std::u16string&) const { return ops_; }

}  // namespace opc
