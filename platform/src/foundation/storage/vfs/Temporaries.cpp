#include "foundation/storage/vfs/Temporaries.hpp"

#include "fl/Ascii.hpp"
#include "foundation/storage/vfs/Descriptor.hpp"
#include "foundation/storage/vfs/FileLock.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <mutex>
#include <string_view>
#include <sys/random.h>
#include <sys/stat.h>
#include <type_traits>

namespace foundation::storage::vfs {
namespace {

constexpr std::string_view kPrefix = ".~pxflowbook-save-";
constexpr std::string_view kSuffix = ".tmp";
constexpr std::size_t kDigits = 16;
constexpr char kBetween = '-';
constexpr std::time_t kStaleAfterSeconds = 3600;

std::uint64_t randomNumber() {
    std::uint64_t number = 0;
    if (retryInterrupted([&] { return ::getrandom(&number, sizeof number, 0); }) == -1) {
        throwErrno("draw a random number for", "a temporary name");
    }
    return number;
}

std::string digits(std::uint64_t number) { return fl::ascii::hex(number, kDigits); }

/// The numbers that a name made here tells: the random one alone, or with those of the contents.
struct Numbers {
    std::size_t count = 0;  ///< 0 for another name
    std::uint64_t values[3] = {};
};

Numbers numbersOf(std::string_view name) noexcept {
    Numbers found;
    const std::size_t ends = kPrefix.size() + kSuffix.size();
    if (name.size() <= ends || name.substr(0, kPrefix.size()) != kPrefix ||
        name.substr(name.size() - kSuffix.size()) != kSuffix) {
        return {};
    }
    std::string_view fields = name.substr(kPrefix.size(), name.size() - ends);
    for (std::uint64_t& value : found.values) {
        const char* const end = fields.data() + std::min(fields.size(), kDigits);
        const bool isNumber = std::from_chars(fields.data(), end, value, 16).ptr == fields.data() + kDigits;
        if (!isNumber) {
            return {};
        }
        ++found.count;
        fields.remove_prefix(kDigits);
        if (fields.empty()) {
            return found.count == 2 ? Numbers() : found;
        }
        if (fields.front() != kBetween) {
            return {};
        }
        fields.remove_prefix(1);
    }
    return {};
}

/// Whether the name says that nobody misses the file's content.
bool isTemporary(const Numbers& numbers, int file) noexcept {
    const std::uint64_t content = numbers.count == 3 ? fingerprintOf(file) : 0;
    return numbers.count == 1 || (content != 0 && (content == numbers.values[1] || content == numbers.values[2]));
}

/// Whether a file is a temporary that nobody uses any more.
bool isStale(int directory, const char* name) noexcept {
    const Numbers numbers = numbersOf(name);
    if (numbers.count == 0) {
        return false;
    }
    const Descriptor file(::openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    return file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_mtime < std::time(nullptr) - kStaleAfterSeconds &&
           !FileLock(file.get(), FileLock::Wait::No).isTakenByAnother() && isTemporary(numbers, file.get());
}

/// Which folders this process has swept, and when. The oldest gives its place to a new one.
struct Sweeps {
    struct Folder {
        dev_t device;
        ino_t inode;
        std::time_t time;  ///< of a clock that only goes on; 0 for an empty place
    };
    std::mutex mutex;
    Folder folders[16];
};
static_assert(std::is_trivially_destructible_v<Sweeps>);
Sweeps sweeps{};

/// Listing a large folder takes longer than saving a small file.
bool isSweepDue(int directory) noexcept {
    struct stat status {};
    timespec now{};
    // Where a thread of the parent held the lock when this process was forked, it stays locked.
    const std::unique_lock<std::mutex> lock(sweeps.mutex, std::try_to_lock);
    if (!lock.owns_lock() || ::fstat(directory, &status) == -1 || ::clock_gettime(CLOCK_MONOTONIC, &now) == -1) {
        return false;
    }
    const auto known = std::find_if(std::begin(sweeps.folders), std::end(sweeps.folders), [&](const auto& each) {
        return each.time != 0 && each.device == status.st_dev && each.inode == status.st_ino;
    });
    if (known != std::end(sweeps.folders) && now.tv_sec - known->time < kStaleAfterSeconds) {
        return false;
    }
    auto* const place = known != std::end(sweeps.folders)
                            ? known
                            : std::min_element(std::begin(sweeps.folders), std::end(sweeps.folders),
                                               [](const auto& a, const auto& b) { return a.time < b.time; });
    *place = {status.st_dev, status.st_ino, std::max<std::time_t>(now.tv_sec, 1)};
    return true;
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

/// Mixes bytes into a hash, eight at a time. It is not made to withstand anyone who looks for two contents of one hash:
/// who can write to the folder can remove the file as well.
std::uint64_t mixed(std::uint64_t hash, const char* bytes, std::size_t count) noexcept {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
    for (std::size_t at = 0; at < count; at += sizeof hash) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + at, std::min(sizeof word, count - at));
        hash = (hash ^ word) * kFactor;
        hash ^= hash >> 29;
    }
    return hash;
}

constexpr off_t kWholeContent = 256 << 10;
constexpr off_t kEnds = 64 << 10;
constexpr off_t kSamples = 32;
constexpr off_t kSample = 4 << 10;

/// Mixes in a range of the file. @returns whether it could be read.
bool mixRange(int descriptor, off_t from, off_t end, std::uint64_t& hash) noexcept {
    char piece[8192];
    while (from != end) {
        const auto wanted = static_cast<std::size_t>(std::min<off_t>(end - from, sizeof piece));
        const ssize_t got = retryInterrupted([&] { return ::pread(descriptor, piece, wanted, from); });
        if (got != static_cast<ssize_t>(wanted)) {
            return false;
        }
        hash = mixed(hash, piece, static_cast<std::size_t>(got));
        from += got;
    }
    return true;
}

}  // namespace

std::string newTemporaryName() { return std::string(kPrefix).append(digits(randomNumber())).append(kSuffix); }

std::uint64_t fingerprintOf(int descriptor) noexcept {
    struct stat status {};
    if (::fstat(descriptor, &status) == -1) {
        return 0;
    }
    const off_t size = status.st_size;
    std::uint64_t hash = static_cast<std::uint64_t>(size) + 1;
    if (size <= kWholeContent) {
        return mixRange(descriptor, 0, size, hash) ? hash | 1 : 0;
    }
    bool isRead = mixRange(descriptor, 0, kEnds, hash) && mixRange(descriptor, size - kEnds, size, hash);
    const off_t step = (size - 2 * kEnds) / kSamples;
    for (off_t sample = 0; isRead && sample != kSamples; ++sample) {
        const off_t from = kEnds + sample * step;
        isRead = mixRange(descriptor, from, from + std::min(step, kSample), hash);
    }
    return isRead ? hash | 1 : 0;
}

std::string exchangeName(const std::string& temporary, std::uint64_t fresh, std::uint64_t replaced) {
    std::string name(temporary, 0, temporary.size() - kSuffix.size());
    name.append(1, kBetween).append(digits(fresh)).append(1, kBetween).append(digits(replaced));
    return name.append(kSuffix);
}

void sweepStaleTemporaries(int directory) noexcept {
    const Directory listing = isSweepDue(directory) ? openListing(directory) : nullptr;
    if (listing == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(listing.get())) {
        if (isStale(directory, entry->d_name)) {
            ::unlinkat(directory, entry->d_name, 0);
        }
    }
}

}  // namespace foundation::storage::vfs
