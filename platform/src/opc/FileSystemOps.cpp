// The only place where a package meets a storage. The storage may be a host's own, so all that it throws or hands out
// is checked and translated here, and everything above deals with opc::Exception alone.
#include "opc/FileSystemOps.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"
#include "opc/FileSystemOpsSelector.hpp"
#include "opc/StorageErrors.hpp"
#include "opc/model/PackageNotFound.hpp"

namespace opc {

using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;
using foundation::storage::vfs::StorageSystemReference;

namespace {

/// Refuses a null pointer: the storage may be a host's own, which may have mistakes.
template <class T>
std::unique_ptr<T> required(std::unique_ptr<T> handedOut, const char* doing, const std::u16string& path) {
    if (handedOut == nullptr) {
        throw Exception(ErrorKind::InputOutput, std::string("cannot ") + doing + " \"" + fl::i18n::to_string(path) +
                                                    "\": the storage has handed out nothing");
    }
    return handedOut;
}

}  // namespace

FileSystemOps::FileSystemOps(StorageSystemReference storage) : storage_(std::move(storage)) {}

bool FileSystemOps::exists(const std::u16string& path) const {
    return translatingStorageErrors("", [&] { return storage_->exists(path); });
}

std::u16string FileSystemOps::anchored(const std::u16string& path) const {
    return translatingStorageErrors("", [&] { return storage_->anchored(path); });
}

std::unique_ptr<ReadableFile> FileSystemOps::openForReading(const std::u16string& path) const {
    try {
        return required(storage_->openForReading(path), "open", path);
    } catch (const StorageError& error) {
        if (error.kind() == StorageErrorKind::NotFound) {
            throw model::PackageNotFound(error.what());
        }
        throw Exception(errorKindOf(error), error.what());
    }
}

std::unique_ptr<Replacement> FileSystemOps::beginReplacement(const std::u16string& path,
                                                             const ReadableFile* replaced) const {
    auto begun = translatingStorageErrors("", [&] { return storage_->beginReplacement(path, replaced); });
    return required(std::move(begun), "write", path);
}

FileSystemOpsSelector::FileSystemOpsSelector()
    : FileSystemOpsSelector(StorageSystemReference(std::make_shared<LocalStorage>())) {}

FileSystemOpsSelector::FileSystemOpsSelector(const StorageSystemReference& storage) : ops_(storage) {}

FileSystemOps FileSystemOpsSelector::getForPath(const std::u16string&) const { return ops_; }

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
