// Files of the machine for reading, and the entry to replacing them. Names become paths here and nowhere else; all
// below works on open files.
#include "foundation/storage/vfs/LocalStorage.hpp"

#include "fl/filesystem/NativePath.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "foundation/storage/vfs/Descriptor.hpp"
#include "foundation/storage/vfs/FileAttributes.hpp"
#include "foundation/storage/vfs/LocalFile.hpp"
#include "foundation/storage/vfs/LocalReplacement.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace foundation::storage::vfs {
namespace {

Descriptor openRegularFile(const std::string& path) {
    // Not blocking: opening a FIFO would otherwise wait for a writer that may never come.
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    Descriptor descriptor(retryInterrupted([&] { return ::open(path.c_str(), kFlags); }));
    // A network file system, or one in user space, looks up a name and opens what it found in two steps. When the file
    // was replaced between the two, the system reports ESTALE, and a new look-up finds the new version.
    for (int attempt = 0; !descriptor && errno == ESTALE && attempt != 8; ++attempt) {
        descriptor = Descriptor(retryInterrupted([&] { return ::open(path.c_str(), kFlags); }));
    }
    if (!descriptor) {
        throwErrno("open", path);
    }
    return descriptor;
}

struct stat statusOfRegularFile(const Descriptor& descriptor, const std::string& path) {
    const struct stat status = statusOf(descriptor.get(), path);
    if (!S_ISREG(status.st_mode)) {
        throw StorageError(StorageErrorKind::Other, "cannot open \"" + path + "\": it is not a regular file");
    }
    return status;
}

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

LocalFile::LocalFile(std::string path)
    : path_(std::move(path)), descriptor_(openRegularFile(path_)), identity_(statusOfRegularFile(descriptor_, path_)) {}

/// A network file system answers ESTALE when its server no longer has the file: another client has replaced or removed
/// it.
FileIdentity LocalFile::identityNow() const {
    struct stat status {};
    if (::fstat(descriptor_.get(), &status) == 0) {
        return FileIdentity(status);
    }
    if (errno == ESTALE) {
        throw StorageError(StorageErrorKind::Conflict,
                           "cannot replace \"" + path_ + "\": it has been replaced or removed since it was opened");
    }
    throwErrno("look at", path_);
}

void LocalFile::read(std::uint64_t offset, void* to, std::size_t count) const {
    readExactly(descriptor_.get(), path_, offset, to, count);
}

void readExactly(int descriptor, const std::string& path, std::uint64_t offset, void* to, std::size_t count) {
    auto* at = static_cast<unsigned char*>(to);
    while (count != 0) {
        const ssize_t got =
            retryInterrupted([&] { return ::pread(descriptor, at, count, static_cast<off_t>(offset)); });
        if (got == -1) {
            throwErrno("read", path);
        }
        if (got == 0) {
            throw StorageError(StorageErrorKind::Other, "cannot read \"" + path + "\" at " + std::to_string(offset) +
                                                            ": the file ends before that");
        }
        at += got;
        count -= static_cast<std::size_t>(got);
        offset += static_cast<std::uint64_t>(got);
    }
}

/// Only two answers of the system mean that there is no file. Any other failure, such as a folder that may not be
/// searched, leaves the question open: taking it for "no" would make a caller create a file over one that exists.
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
