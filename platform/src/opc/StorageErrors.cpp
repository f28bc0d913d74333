#include "opc/StorageErrors.hpp"

namespace opc {

using foundation::storage::vfs::StorageErrorKind;

ErrorKind errorKindOf(const foundation::storage::vfs::StorageError& error) noexcept {
    switch (error.kind()) {
    case StorageErrorKind::Conflict:
        return ErrorKind::Conflict;
    case StorageErrorKind::NotDurable:
        return ErrorKind::NotDurable;
    case StorageErrorKind::NotFound:
    case StorageErrorKind::AccessDenied:
    case StorageErrorKind::NoSpace:
    case StorageErrorKind::Other:
        break;
    }
    return ErrorKind::InputOutput;
}

}  // namespace opc
