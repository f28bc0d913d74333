// Turns failures of the system into StorageError. The kinds separate only what callers treat differently; a lack of
// memory stays std::bad_alloc, as everywhere.
#include "foundation/storage/vfs/Descriptor.hpp"

#include "foundation/storage/vfs/StorageError.hpp"

#include <new>
#include <system_error>

namespace foundation::storage::vfs {
namespace {

StorageErrorKind kindOf(int error) {
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return StorageErrorKind::NotFound;
    case EACCES:
    case EPERM:
    case EROFS:
        return StorageErrorKind::AccessDenied;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return StorageErrorKind::NoSpace;
    default:
        return StorageErrorKind::Other;
    }
}

}  // namespace

void throwErrno(const char* action, const std::string& path) {
    const int error = errno;  // before anything below can change it
    if (error == ENOMEM) {
        throw std::bad_alloc();
    }
    throw StorageError(kindOf(error), std::string("cannot ") + action + " \"" + path +
                                          "\": " + std::generic_category().message(error));
}

}  // namespace foundation::storage::vfs
