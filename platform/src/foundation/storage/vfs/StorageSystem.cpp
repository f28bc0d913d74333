#include "foundation/storage/vfs/StorageSystem.hpp"

namespace foundation::storage::vfs {

StorageSystem::~StorageSystem() = default;

}  // namespace foundation::storage::vfs
