#include "foundation/storage/vfs/Temporaries.hpp"

#include "fl/Ascii.hpp"
#include "foundation/storage/vfs/SystemCall.hpp"
#include "foundation/storage/vfs/UniqueFd.hpp"

#include <cstdint>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/random.h>
#include <sys/stat.h>

namespace foundation::storage::vfs {
namespace {

constexpr std::string_view kPrefix = ".pxflowbook-save-";
constexpr std::string_view kSuffix = "~";
constexpr std::size_t kDigits = 16;
constexpr std::time_t kStaleAfterSeconds = 3600;

std::uint64_t randomNumber() {
    std::uint64_t number = 0;
    if (retryInterrupted([&] { return ::getrandom(&number, sizeof number, 0); }) == -1) {
        throwErrno("draw a random number for", "a temporary name");
    }
    return number;
}

bool isStale(int directory, const char* name) {
    struct stat status {};
    return ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode) &&
           status.st_mtime < std::time(nullptr) - kStaleAfterSeconds;
}

struct CloseDirectory {
    void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

/// Null when the directory cannot be listed.
Directory openListing(int directory) {
    // Opened anew, as the position in the listing belongs to the descriptor.
    UniqueFd descriptor(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Directory listing(descriptor ? ::fdopendir(descriptor.get()) : nullptr);
    if (listing != nullptr) {
        descriptor.release();
    }
    return listing;
}

}  // namespace

std::string newTemporaryName() {
    return std::string(kPrefix).append(fl::ascii::hex(randomNumber(), kDigits)).append(kSuffix);
}

bool isTemporaryName(std::string_view name) {
    if (name.size() != kPrefix.size() + kDigits + kSuffix.size() || name.substr(0, kPrefix.size()) != kPrefix ||
        name.substr(name.size() - kSuffix.size()) != kSuffix) {
        return false;
    }
    return name.substr(kPrefix.size(), kDigits).find_first_not_of(fl::ascii::kHexDigits) == std::string_view::npos;
}

void sweepStaleTemporaries(int directory) noexcept {
    const Directory listing = openListing(directory);
    if (listing == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(listing.get())) {
        if (isTemporaryName(entry->d_name) && isStale(directory, entry->d_name)) {
            ::unlinkat(directory, entry->d_name, 0);
        }
    }
}

}  // namespace foundation::storage::vfs
