#include "foundation/storage/vfs/StorageError.hpp"

namespace foundation::storage::vfs {

StorageError::StorageError(StorageErrorKind kind, const std::string& message)
    : std::runtime_error(message), kind_(kind) {}

StorageError::~StorageError() = default;

}  // namespace foundation::storage::vfs
