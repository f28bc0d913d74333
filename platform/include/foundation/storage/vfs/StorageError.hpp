#pragma once

#include "fl/PlatformExport.hpp"

#include <stdexcept>
#include <string>

namespace foundation::storage::vfs {

/// The kinds of failures. Callers decide by the kind what to do next.
enum class StorageErrorKind {
    NotFound,      ///< there is no such file
    AccessDenied,  ///< the file or its folder may not be read or written
    NoSpace,       ///< the disk, the quota or the memory store is full
    Conflict,      ///< the file changed, or appeared, since it was opened; both versions still exist
    NotDurable,    ///< the file is replaced, but the storage could not confirm that this survives power loss
    Other          ///< any other failure of the device or the system
};

/// A failed storage operation. what() says what was being done, to which file, and the system's
/// reason.
class PXPLATFORM_EXPORT StorageError : public std::runtime_error {
public:
    StorageError(StorageErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

    StorageErrorKind kind() const noexcept { return kind_; }

private:
    StorageErrorKind kind_;
};

}  // namespace foundation::storage::vfs
