// The limits of opc::Limits, which bound what a hostile file can make a reader spend, and which hold for writing too:
// what is written must be readable. Sums saturate instead of wrapping around.
#include "opc/zippackage/ZipLimitCheck.hpp"

#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"

#include <algorithm>
#include <limits>

namespace opc::zippackage {
namespace {

// Names of 100 bytes are long already. A directory with more bytes an entry than this is made to take up memory.
constexpr std::uint64_t kDirectoryBytesPerEntry = 4096;

constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();

}  // namespace

ZipLimitCheck::ZipLimitCheck(const std::string& doing, const Limits& limits) : doing_(doing), limits_(limits) {}

void ZipLimitCheck::checkCount(std::uint64_t entries) const {
    check("the number of entries", entries, "maxEntries", limits_.maxEntries);
}

void ZipLimitCheck::checkDirectory(std::uint64_t size) const {
    const std::uint64_t entries = std::min(limits_.maxEntries, kLargest / kDirectoryBytesPerEntry);
    check("the size of the index", size, "4096 times maxEntries", entries * kDirectoryBytesPerEntry);
}

void ZipLimitCheck::addEntry(std::string_view name, std::uint64_t size, std::uint64_t storedSize) {
    if (std::max(size, storedSize) > limits_.maxPartSize) {
        inPart(partOf(name), [&] {
            check(("the size of entry " + quoted(name)).c_str(), std::max(size, storedSize), "maxPartSize",
                  limits_.maxPartSize);
        });
    }
    packageSize_ = size > kLargest - packageSize_ ? kLargest : packageSize_ + size;
    check("the size of all entries", packageSize_, "maxPackageSize", limits_.maxPackageSize);
    if (exceedsRatio(limits_, size, storedSize)) {
        throw Exception(ErrorKind::LimitExceeded,
                        text(doing_, "entry ", quoted(name), " of ", size, " bytes is stored in ", storedSize,
                             ", the limit maxRatio is ", limits_.maxRatio),
                        partOf(name));
    }
}

bool ZipLimitCheck::exceedsRatio(const Limits& limits, std::uint64_t size, std::uint64_t storedSize) {
    // Divided rather than multiplied, which could overflow.
    return size > limits.ratioFreeSize && limits.maxRatio != 0 && (size - 1) / limits.maxRatio >= storedSize;
}

void ZipLimitCheck::check(const char* what, std::uint64_t found, const char* limitName, std::uint64_t limit) const {
    if (found > limit) {
        throw Exception(ErrorKind::LimitExceeded,
                        text(doing_, what, " is ", found, ", the limit ", limitName, " is ", limit));
    }
}

}  // namespace opc::zippackage
