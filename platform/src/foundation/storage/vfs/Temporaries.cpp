#include "foundation/storage/vfs/Temporaries.hpp"

#include "fl/Ascii.hpp"
#include "foundation/storage/vfs/Descriptor.hpp"
#include "foundation/storage/vfs/FileLock.hpp"

#include <cstdint>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/random.h>
#include <sys/stat.h>

namespace foundation::storage::vfs {
namespace {

constexpr std::string_view kPrefix = ".pxflowbook-save-";
constexpr std::size_t kDigits = 16;
constexpr std::size_t kField = kDigits + 1;  // a number and what ends it
constexpr char kBetween = '-';
constexpr char kEnd = '~';
constexpr std::time_t kStaleAfterSeconds = 3600;

std::uint64_t randomNumber() {
    std::uint64_t number = 0;
    if (retryInterrupted([&] { return ::getrandom(&number, sizeof number, 0); }) == -1) {
        throwErrno("draw a random number for", "a temporary name");
    }
    return number;
}

std::string digits(std::uint64_t number) { return fl::ascii::hex(number, kDigits); }

/// The fields of a name made here, each a number and what ends it; empty for another name.
std::string_view fieldsOf(std::string_view name) {
    const bool isLong = name.size() > kPrefix.size() && name.substr(0, kPrefix.size()) == kPrefix;
    return isLong ? name.substr(kPrefix.size()) : std::string_view();
}

bool areNumbers(std::string_view fields, std::size_t count) {
    if (fields.size() != count * kField) {
        return false;
    }
    for (std::size_t at = 0; at != fields.size(); at += kField) {
        const bool isLast = at + kField == fields.size();
        if (fields.substr(at, kField).find_first_not_of(fl::ascii::kHexDigits) != kDigits ||
            fields[at + kDigits] != (isLast ? kEnd : kBetween)) {
            return false;
        }
    }
    return true;
}

/// Whether a name says that nobody misses the file of that inode.
bool isTemporary(std::string_view name, ino_t inode) {
    const std::string_view fields = fieldsOf(name);
    return areNumbers(fields, 1) || (areNumbers(fields, 3) && (fields.substr(kField, kDigits) == digits(inode) ||
                                                               fields.substr(2 * kField, kDigits) == digits(inode)));
}

/// Whether a file is a temporary that nobody uses any more.
bool isStale(int directory, const char* name) {
    const Descriptor file(::openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    return file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && isTemporary(name, status.st_ino) &&
           status.st_mtime < std::time(nullptr) - kStaleAfterSeconds &&
           !FileLock(file.get(), FileLock::Wait::No).isTakenByAnother();
}

struct CloseDirectory {
    void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

/// Null when the directory cannot be listed.
Directory openListing(int directory) {
    // Opened anew, as the position in the listing belongs to the descriptor.
    Descriptor descriptor(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Directory listing(descriptor ? ::fdopendir(descriptor.get()) : nullptr);
    if (listing != nullptr) {
        descriptor.release();
    }
    return listing;
}

}  // namespace

std::string newTemporaryName() { return std::string(kPrefix) + digits(randomNumber()) + kEnd; }

std::string exchangeName(const std::string& temporary, ino_t fresh, ino_t replaced) {
    std::string name(temporary, 0, temporary.size() - 1);
    return name.append(1, kBetween).append(digits(fresh)).append(1, kBetween).append(digits(replaced)).append(1, kEnd);
}

void sweepStaleTemporaries(int directory) noexcept {
    const Directory listing = openListing(directory);
    if (listing == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(listing.get())) {
        if (!fieldsOf(entry->d_name).empty() && isStale(directory, entry->d_name)) {
            ::unlinkat(directory, entry->d_name, 0);
        }
    }
}

}  // namespace foundation::storage::vfs
