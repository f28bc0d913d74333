#include "foundation/storage/vfs/LocalStorage.hpp"

#include "fl/filesystem/NativePath.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "foundation/storage/vfs/LocalFile.hpp"
#include "foundation/storage/vfs/LocalReplacement.hpp"
#include "foundation/storage/vfs/SystemCall.hpp"

#include <sys/stat.h>

namespace foundation::storage::vfs {
namespace {

/// @throws StorageError for what no path can be.
std::string toNativePath(const std::u16string& name) {
    try {
        return fl::filesystem::toNativePath(name);
    } catch (const fl::i18n::ConversionError& error) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot use \"" + fl::i18n::to_string(name) + "\" as a path: " + error.what());
    }
}

/// @throws StorageError for a file of another storage.
const LocalFile* asLocal(const ReadableFile* file, const std::string& path) {
    const auto* local = dynamic_cast<const LocalFile*>(file);
    if (file != nullptr && local == nullptr) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot replace \"" + path + "\": the file given for it is of another storage");
    }
    return local;
}

}  // namespace

bool LocalStorage::exists(const std::u16string& name) const {
    const std::string path = toNativePath(name);
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        throwErrno("look at", path);
    }
    return false;
}

std::u16string LocalStorage::anchored(const std::u16string& name) const {
    if (name.empty() || name.front() == u'/') {
        return name;
    }
    const auto workingDirectory = fl::filesystem::realPath(".");
    return workingDirectory ? fl::filesystem::fromNativePath(*workingDirectory) + u'/' + name : name;
}

std::unique_ptr<ReadableFile> LocalStorage::openForReading(const std::u16string& name) const {
    return std::make_unique<LocalFile>(toNativePath(name));
}

std::unique_ptr<Replacement> LocalStorage::beginReplacement(const std::u16string& name, const ReadableFile* replaced) {
    const std::string path = toNativePath(name);
    return std::make_unique<LocalReplacement>(path, asLocal(replaced, path));
}

}  // namespace foundation::storage::vfs
