// The kind of any exception that a call of this library may throw, and the part that it is about. Three families meet
// here: the library's own exceptions, those of packages and those of storages; the kind is what callers and the command
// treat alike in all of them.
#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PackageNotFound.hpp"

#include <new>

namespace flowbook {

using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

namespace {

FlowbookErrorKind kindOfPackage(const opc::Exception& failure) noexcept {
    switch (failure.kind()) {
    case opc::ErrorKind::NotFound:
        // Where the file itself is there, a part is missing that something refers to.
        return dynamic_cast<const opc::model::PackageNotFound*>(&failure) == nullptr ? FlowbookErrorKind::Damaged
                                                                                     : FlowbookErrorKind::NotFound;
    case opc::ErrorKind::InputOutput:
        return FlowbookErrorKind::InputOutput;
    case opc::ErrorKind::Damaged:
        return FlowbookErrorKind::Damaged;
    case opc::ErrorKind::LimitExceeded:
        return FlowbookErrorKind::LimitExceeded;
    case opc::ErrorKind::Conflict:
        return FlowbookErrorKind::Conflict;
    case opc::ErrorKind::NotDurable:
        return FlowbookErrorKind::NotDurable;
    case opc::ErrorKind::Misuse:
        return FlowbookErrorKind::Misuse;
    }
    return FlowbookErrorKind::InputOutput;
}

FlowbookErrorKind kindOfStorage(StorageErrorKind kind) noexcept {
    switch (kind) {
    case StorageErrorKind::NotFound:
        return FlowbookErrorKind::NotFound;
    case StorageErrorKind::Conflict:
        return FlowbookErrorKind::Conflict;
    case StorageErrorKind::NotDurable:
        return FlowbookErrorKind::NotDurable;
    default:
        return FlowbookErrorKind::InputOutput;
    }
}

}  // namespace

FlowbookErrorKind kindOf(const std::exception& failure) noexcept {
    if (const auto* own = dynamic_cast<const FlowbookExceptionBase*>(&failure)) {
        return own->kind();
    }
    if (const auto* package = dynamic_cast<const opc::Exception*>(&failure)) {
        return kindOfPackage(*package);
    }
    if (const auto* storage = dynamic_cast<const StorageError*>(&failure)) {
        return kindOfStorage(storage->kind());
    }
    if (dynamic_cast<const std::bad_alloc*>(&failure) != nullptr) {
        return FlowbookErrorKind::LimitExceeded;
    }
    const bool isOfText = dynamic_cast<const fl::i18n::ConversionError*>(&failure) != nullptr;
    return isOfText ? FlowbookErrorKind::Damaged : FlowbookErrorKind::InputOutput;
}

std::string_view partOf(const std::exception& failure) noexcept {
    if (const auto* own = dynamic_cast<const FlowbookExceptionBase*>(&failure)) {
        return own->part();
    }
    const auto* package = dynamic_cast<const opc::Exception*>(&failure);
    return package == nullptr ? std::string_view() : package->part();
}

const char* nameOf(FlowbookErrorKind kind) noexcept {
    constexpr const char* kNames[] = {"not-found",   "input-output", "damaged",   "limit", "conflict",
                                      "not-durable", "misuse",       "encrypted", "absent"};
    return kNames[static_cast<int>(kind)];
}

}  // namespace flowbook
