#include "LocalVersion.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <sys/resource.h>

namespace flowbook::python {

using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

namespace {

/// Reading so much at once is quicker than keeping the file open and reading it by ranges.
constexpr std::uint64_t kSmall = std::uint64_t{64} << 10;

constexpr int kMostAttempts = 10;

std::atomic<int> heldOpen{0};

/// A quarter of what the process may have open: the rest is the program's.
bool mayHoldOneMore() {
    struct rlimit limit {};
    const bool isKnown = getrlimit(RLIMIT_NOFILE, &limit) == 0;
    const auto most = isKnown ? static_cast<int>(std::min<rlim_t>(limit.rlim_cur / 4, 256)) : 64;
    if (heldOpen.fetch_add(1) < most) {
        return true;
    }
    heldOpen.fetch_sub(1);
    return false;
}

std::int64_t nanosecondsOf(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

LocalVersion::Identity identityOf(const struct stat& status) {
    return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size), nanosecondsOf(status.st_mtim)};
}

bool isUntouched(const struct stat& a, const struct stat& b) {
    return identityOf(a) == identityOf(b) && nanosecondsOf(a.st_ctim) == nanosecondsOf(b.st_ctim);
}

[[noreturn]] void conflict(const std::u16string& path) {
    throw StorageError(StorageErrorKind::Conflict,
                       "\"" + fl::i18n::to_string(path) + "\" has changed since it was opened");
}

}  // namespace

LocalVersion::LocalVersion(std::u16string path, std::string native)
    : path_(std::move(path)), native_(std::move(native)) {
    File file = openChecked(status_);
    size_ = file->size();
    if (size_ <= kSmall) {
        content_.emplace(size_);
        file->read(0, content_->data(), content_->size());
    } else if (mayHoldOneMore()) {
        file_ = std::move(file);
    }
}

LocalVersion::~LocalVersion() {
    if (file_) {
        heldOpen.fetch_sub(1);
    }
}

void LocalVersion::read(std::uint64_t offset, void* to, std::size_t count) const {
    if (!content_) {
        (file_ ? file_ : reopened())->read(offset, to, count);
    } else if (offset > size_ || count > size_ - offset) {
        throw StorageError(StorageErrorKind::Other, "the file ends before byte " + std::to_string(offset + count));
    } else if (count != 0) {
        std::memcpy(to, content_->data() + offset, count);
    }
}

std::shared_ptr<const ReadableFile> LocalVersion::forReplacing() const {
    if (file_) {
        return file_;
    }
    File file = reopened();
    if (content_) {
        std::vector<unsigned char> present(file->size());
        file->read(0, present.data(), present.size());
        if (present != *content_) {
            conflict(path_);
        }
    }
    return file;
}

LocalVersion::Identity LocalVersion::identity() const { return identityOf(status_); }

/// Opens the file that the name stands for, and looks at it before and after, so that what was seen is what was opened.
LocalVersion::File LocalVersion::openChecked(struct stat& seen) const {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        struct stat after {};
        const bool isThere = ::stat(native_.c_str(), &seen) == 0;
        File file = LocalStorage().openForReading(path_);
        if (isThere && ::stat(native_.c_str(), &after) == 0 && isUntouched(seen, after)) {
            return file;
        }
    }
    conflict(path_);
}

LocalVersion::File LocalVersion::reopened() const {
    struct stat seen {};
    File file = openChecked(seen);
    // A change of rights or names alone, which the time of the last change shows too, is not one of the content.
    if (identityOf(seen) != identityOf(status_)) {
        conflict(path_);
    }
    return file;
}

}  // namespace flowbook::python
