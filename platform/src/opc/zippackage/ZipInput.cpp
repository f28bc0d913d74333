// How the bytes of a container reach memory. The end of the file is read at once, as the index lies there, and a small
// file is then held whole. Everything else is read by position when it is asked for, and ahead once a caller goes
// through many small parts in a row.
#include "opc/zippackage/ZipInput.hpp"

#include "opc/MessageText.hpp"
#include "opc/StorageErrors.hpp"
#include "opc/zippackage/ZipFormat.hpp"

#include <algorithm>
#include <cstring>

namespace opc::zippackage {
namespace {

constexpr std::uint64_t kAhead = std::uint64_t{1} << 15;
constexpr std::uint64_t kSmall = kAhead / 4;

/// Bytes that may lie between two pieces of one run: a local header, or a data descriptor.
constexpr std::uint64_t kGap = 1024;

/// Pieces in a row before reading ahead begins. A caller that reads one part or two asks for fewer, and would pay for
/// bytes that it does not need.
constexpr unsigned kLongRun = 6;

/// The most that the end records with the longest comment, and a line break behind them, can take up.
constexpr std::uint64_t kLongestEnd = kZip64EndSize + kZip64LocatorSize + kEndSize + kOnes16 + 2;

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
        size_ = 0;  // so that nothing is taken from the buffer if reading fails
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

/// Compares by subtraction, as the sum of an offset and a count of a hostile file could wrap around.
bool ReadAhead::has(std::uint64_t offset, std::uint64_t count) const {
    return offset >= from_ && offset - from_ <= size_ && size_ - (offset - from_) >= count && bytes_ != nullptr;
}

ZipInput::ZipInput(const foundation::storage::vfs::ReadableFile& file, const std::string& fileName)
    : file_(file),
      readAhead_(file),
      doing_(text("Reading package '", fileName, "': ")),
      size_(file.size()),
      heldFrom_(size_) {
    hold(size_ - std::min(size_, kLongestEnd));
}

/// Extends what is held to the front. The end that is held already is copied rather than read again, so that all that
/// was checked stays one version of the file.
void ZipInput::hold(std::uint64_t offset) {
    if (offset >= heldFrom_) {
        return;
    }
    Buffer extended(new char[size_ - offset]);
    copy(offset, size_ - offset, extended.get());
    held_ = std::move(extended);
    heldFrom_ = offset;
}

std::string_view ZipInput::held(std::uint64_t offset, std::uint64_t count) const {
    return {held_.get() + (offset - heldFrom_), count};
}

std::string_view ZipInput::view(std::uint64_t offset, std::uint64_t count, Buffer& buffer) const {
    if (offset >= heldFrom_) {
        return held(offset, count);
    }
    buffer = Buffer(new char[count]);
    copy(offset, count, buffer.get());
    return {buffer.get(), count};
}

void ZipInput::copy(std::uint64_t offset, std::uint64_t count, void* to) const {
    const std::uint64_t unheld = offset < heldFrom_ ? std::min(count, heldFrom_ - offset) : 0;
    if (unheld != 0) {
        translatingStorageErrors(doing_, [&] { readAhead_.copy(offset, unheld, to, heldFrom_); });
    }
    if (count != unheld) {
        std::memcpy(static_cast<char*>(to) + unheld, held(offset + unheld, count - unheld).data(), count - unheld);
    }
}

void ZipInput::damaged(const std::string& found, std::string_view entry) const {
    throw Exception(ErrorKind::Damaged, doing_ + found, partOf(entry));
}

}  // namespace opc::zippackage
