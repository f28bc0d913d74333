#include "opc/FileSystemOps.hpp"

#include "opc/StorageErrors.hpp"
#include "opc/model/PackageNotFound.hpp"

namespace opc {

using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;
using foundation::storage::vfs::StorageSystemReference;

FileSystemOps::FileSystemOps(StorageSystemReference storage) : storage_(std::move(storage)) {}

bool FileSystemOps::exists(const std::u16string& path) const {
    return translatingStorageErrors("", [&] { return storage_->exists(path); });
}

std::unique_ptr<ReadableFile> FileSystemOps::openForReading(const std::u16string& path) const {
    try {
        return storage_->openForReading(path);
    } catch (const StorageError& error) {
        if (error.kind() == StorageErrorKind::NotFound) {
            throw model::PackageNotFound(error.what());
        }
        throw Exception(errorKindOf(error), error.what());
    }
}

std::unique_ptr<Replacement> FileSystemOps::beginReplacement(const std::u16string& path,
                                                             const ReadableFile* replaced) const {
    return translatingStorageErrors("", [&] { return storage_->beginReplacement(path, replaced); });
}

}  // namespace opc
