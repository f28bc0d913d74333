#include "foundation/storage/vfs/LocalFile.hpp"

#include "foundation/storage/vfs/FileAttributes.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "foundation/storage/vfs/SystemCall.hpp"

#include <fcntl.h>
#include <utility>

namespace foundation::storage::vfs {
namespace {

UniqueFd openRegularFile(const std::string& path) {
    // Not blocking: opening a FIFO would otherwise wait for a writer that may never come.
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    UniqueFd descriptor(retryInterrupted([&] { return ::open(path.c_str(), kFlags); }));
    if (!descriptor) {
        throwErrno("open", path);
    }
    return descriptor;
}

struct stat statusOfRegularFile(const UniqueFd& descriptor, const std::string& path) {
    const struct stat status = statusOf(descriptor.get(), path);
    if (!S_ISREG(status.st_mode)) {
        throw StorageError(StorageErrorKind::Other, "cannot open \"" + path + "\": it is not a regular file");
    }
    return status;
}

}  // namespace

LocalFile::LocalFile(std::string path)
    : path_(std::move(path)), descriptor_(openRegularFile(path_)), identity_(statusOfRegularFile(descriptor_, path_)) {}

void LocalFile::read(std::uint64_t offset, void* to, std::size_t count) const {
    auto* at = static_cast<unsigned char*>(to);
    while (count != 0) {
        const ssize_t got =
            retryInterrupted([&] { return ::pread(descriptor_.get(), at, count, static_cast<off_t>(offset)); });
        if (got == -1) {
            throwErrno("read", path_);
        }
        if (got == 0) {
            throw StorageError(StorageErrorKind::Other, "cannot read \"" + path_ + "\" at " + std::to_string(offset) +
                                                            ": the file ends before that");
        }
        at += got;
        count -= static_cast<std::size_t>(got);
        offset += static_cast<std::uint64_t>(got);
    }
}

}  // namespace foundation::storage::vfs
