// Names of temporaries, and the sweep of those that a killed process left. A sweep must never remove what a user could
// miss. So it takes only regular files whose names were made here, that were not written to for an hour, that no
// process has locked, and whose content, where the name records it, is one of the two versions that a finished save
// leaves elsewhere.
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

/// The numbers in a name that was made here: the random one alone, or followed by the fingerprints of the two contents.
struct Numbers {
    std::size_t count = 0;  ///< 1 or 3; 0 for a name that was not made here
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

/// Whether the file's content may be removed. A name with the random number alone is that of a temporary before its
/// exchange, which is never the only copy of a version that a user has seen.
bool isTemporary(const Numbers& numbers, int file) noexcept {
    const std::uint64_t content = numbers.count == 3 ? fingerprintOf(file) : 0;
    return numbers.count == 1 || (content != 0 && (content == numbers.values[1] || content == numbers.values[2]));
}

/// Whether a file is a leftover of a killed process. The time is looked at before the lock is tried, so that a writer
/// that is about to lock its new temporary never finds it locked by a sweep.
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

/// Which folders this process has swept, and when. When all places are taken, the folder that was swept the longest
/// time ago gives its place to a new one.
struct Sweeps {
    struct Folder {
        dev_t device;
        ino_t inode;
        std::time_t time;  ///< of the monotonic clock; 0 for an empty place
    };
    std::mutex mutex;
    Folder folders[16];
};
static_assert(std::is_trivially_destructible_v<Sweeps>);
Sweeps sweeps{};

/// Whether the folder has not been swept for an hour, as far as this process knows. If so, it counts as swept now.
bool isSweepDue(int directory) noexcept {
    struct stat status {};
    timespec now{};
    // Never waits for the lock: if a thread of the parent held it when this process was forked, it stays locked for
    // ever.
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

/// Returns null when the folder cannot be listed. It is opened anew, as the position in a listing belongs to the open
/// file description, and the caller's may be shared.
Directory openListing(int directory) {
    Descriptor descriptor(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Directory listing(descriptor ? ::fdopendir(descriptor.get()) : nullptr);
    if (listing != nullptr) {
        descriptor.release();
    }
    return listing;
}

/// Mixes bytes into a hash, eight at a time. The hash need not resist a search for two contents with one value: a user
/// who may write to the folder can remove the file as well.
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

// A larger file is not hashed as a whole: a save would have to read both versions of it once more.
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
    std::uint64_t hash = static_cast<std::uint64_t>(size);
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
