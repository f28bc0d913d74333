#include "opc/zippackage/ReadAhead.hpp"

#include <algorithm>
#include <cstring>

namespace opc::zippackage {
namespace {

constexpr std::uint64_t kAhead = std::uint64_t{1} << 15;
constexpr std::uint64_t kSmall = kAhead / 4;

/// What may lie between two pieces.
constexpr std::uint64_t kGap = 1024;

/// A header and the data of a part or two are no sign yet that all of a package is being read.
constexpr unsigned kLongRun = 6;

}  // namespace

void ReadAhead::copy(std::uint64_t offset, std::uint64_t count, void* to, std::uint64_t end) {
    const bool isLongRun = isRun(offset, count);
    if (!has(offset, count)) {
        if (!isLongRun || count > kSmall) {
            file_.read(offset, to, count);
            return;
        }
        if (!bytes_) {
            bytes_ = std::unique_ptr<char[]>(new char[kAhead]);
        }
        size_ = 0;
        file_.read(offset, bytes_.get(), std::min(kAhead, end - offset));
        from_ = offset;
        size_ = std::min(kAhead, end - offset);
    }
    std::memcpy(to, bytes_.get() + (offset - from_), count);
}

bool ReadAhead::isRun(std::uint64_t offset, std::uint64_t count) {
    run_ = offset >= lastOffset_ && offset - lastOffset_ <= lastEnd_ - lastOffset_ + kGap ? run_ + 1 : 0;
    lastOffset_ = offset;
    lastEnd_ = offset + count;
    return run_ >= kLongRun;
}

bool ReadAhead::has(std::uint64_t offset, std::uint64_t count) const {
    return offset >= from_ && offset - from_ <= size_ && size_ - (offset - from_) >= count && bytes_ != nullptr;
}

}  // namespace opc::zippackage
