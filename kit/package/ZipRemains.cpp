#include "kit/package/ZipRemains.hpp"

#include <algorithm>
#include <cstdint>
#include <libdeflate.h>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

namespace flowbook::kit {

namespace {

constexpr std::string_view kLocalHeader = "PK\3\4";
constexpr std::string_view kIndexRecord = "PK\1\2";
constexpr std::string_view kDescriptor = "PK\7\10";
constexpr std::size_t kLocalSize = 30;
constexpr std::size_t kIndexSize = 46;
constexpr std::uint64_t kUnknown = 0xFFFFFFFF;  // told by a zip64 field
constexpr std::size_t kMaxContent = std::size_t{1} << 30;
constexpr unsigned kHasDescriptor = 8;
constexpr unsigned kStored = 0;
constexpr unsigned kDeflated = 8;

struct DecompressorDeleter {
    void operator()(libdeflate_decompressor* decompressor) const { libdeflate_free_decompressor(decompressor); }
};

struct LocalHeader {
    unsigned flags;
    unsigned method;
    std::uint64_t crc;
    std::uint64_t storedSize;
    std::uint64_t size;
    std::string name;
    std::size_t dataAt;

    bool tellsSizes() const { return (flags & kHasDescriptor) == 0 && size != kUnknown && storedSize != kUnknown; }
};

/// An entry that is whole, and where its data end.
struct Found {
    fl::Bytes content;
    std::size_t end;
};

class Search {
public:
    explicit Search(const fl::Bytes& bytes)
        : bytes_(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
          decompressor_(libdeflate_alloc_decompressor()) {
        if (!decompressor_) {
            throw std::bad_alloc();
        }
    }

    ZipRemains run() {
        for (std::size_t at = bytes_.find(kLocalHeader); at != std::string_view::npos;) {
            at = bytes_.find(kLocalHeader, take(at));
        }
        noteIndex();
        for (const auto& [name, content] : remains_.whole) {
            remains_.damaged.erase(name);
        }
        return std::move(remains_);
    }

private:
    std::uint64_t number(std::size_t at, std::size_t width) const {
        std::uint64_t value = 0;
        for (std::size_t i = width; i-- > 0;) {
            value = value << 8 | static_cast<unsigned char>(bytes_[at + i]);
        }
        return value;
    }

    std::optional<LocalHeader> headerAt(std::size_t at) const {
        if (bytes_.size() - at < kLocalSize) {
            return std::nullopt;
        }
        const std::size_t nameSize = number(at + 26, 2);
        const std::size_t dataAt = at + kLocalSize + nameSize + number(at + 28, 2);
        if (nameSize == 0 || dataAt > bytes_.size()) {
            return std::nullopt;
        }
        return LocalHeader{static_cast<unsigned>(number(at + 6, 2)),
                           static_cast<unsigned>(number(at + 8, 2)),
                           number(at + 14, 4),
                           number(at + 18, 4),
                           number(at + 22, 4),
                           std::string(bytes_.substr(at + kLocalSize, nameSize)),
                           dataAt};
    }

    /// Takes the entry at a header. @returns where to look on.
    std::size_t take(std::size_t at) {
        const std::optional<LocalHeader> header = headerAt(at);
        if (!header) {
            return at + kLocalHeader.size();
        }
        std::optional<Found> found = read(*header);
        if (!found) {
            remains_.damaged.insert(header->name);
            return at + kLocalHeader.size();
        }
        if (header->name.back() != '/') {
            remains_.whole.emplace(header->name, std::move(found->content));
        }
        return found->end;
    }

    std::optional<Found> read(const LocalHeader& header) {
        if (header.method == kStored) {
            return readStored(header);
        }
        return header.method == kDeflated ? readDeflated(header) : std::nullopt;
    }

    std::optional<Found> readStored(const LocalHeader& header) const {
        if (!header.tellsSizes() || header.size > bytes_.size() - header.dataAt) {
            return std::nullopt;
        }
        const std::string_view data = bytes_.substr(header.dataAt, header.size);
        return checked({fl::Bytes(data.begin(), data.end()), header.dataAt + data.size()}, header.crc);
    }

    std::optional<Found> readDeflated(const LocalHeader& header) {
        std::optional<Found> found =
            header.tellsSizes() ? inflate(header.dataAt, header.size) : inflateAny(header.dataAt);
        if (!found || (header.tellsSizes() && found->content.size() != header.size)) {
            return std::nullopt;
        }
        const std::uint64_t crc = (header.flags & kHasDescriptor) == 0 ? header.crc : crcBehind(found->end);
        return checked(std::move(*found), crc);
    }

    /// Of data whose size nobody tells.
    std::optional<Found> inflateAny(std::size_t at) {
        for (std::size_t capacity = std::max<std::size_t>(65536, 4 * (bytes_.size() - at)); capacity <= kMaxContent;
             capacity *= 4) {
            if (std::optional<Found> found = inflate(at, capacity)) {
                return found;
            }
        }
        return std::nullopt;
    }

    std::optional<Found> inflate(std::size_t at, std::size_t capacity) {
        // No data inflate to more than 1,032 times their size.
        if (capacity > kMaxContent || capacity / 1032 > bytes_.size() - at || capacity > budget_) {
            return std::nullopt;
        }
        budget_ -= capacity;
        fl::Bytes content(std::max<std::size_t>(capacity, 1));
        std::size_t consumed = 0;
        std::size_t produced = 0;
        const libdeflate_result result =
            libdeflate_deflate_decompress_ex(decompressor_.get(), bytes_.data() + at, bytes_.size() - at,
                                             content.data(), content.size(), &consumed, &produced);
        if (result != LIBDEFLATE_SUCCESS) {
            return std::nullopt;
        }
        content.resize(produced);
        return Found{std::move(content), at + consumed};
    }

    /// The checksum in the data descriptor at a place, which may have a signature.
    std::uint64_t crcBehind(std::size_t at) const {
        const std::size_t skipped = bytes_.substr(at, kDescriptor.size()) == kDescriptor ? kDescriptor.size() : 0;
        return bytes_.size() - at >= skipped + 4 ? number(at + skipped, 4) : kUnknown + 1;
    }

    static std::optional<Found> checked(Found found, std::uint64_t crc) {
        const bool isWhole = libdeflate_crc32(0, found.content.data(), found.content.size()) == crc;
        return isWhole ? std::make_optional(std::move(found)) : std::nullopt;
    }

    /// The names that records of the index tell.
    void noteIndex() {
        for (std::size_t at = bytes_.find(kIndexRecord); at != std::string_view::npos;
             at = bytes_.find(kIndexRecord, at + kIndexRecord.size())) {
            const std::size_t nameSize = bytes_.size() - at < kIndexSize ? 0 : number(at + 28, 2);
            const std::string name(bytes_.substr(std::min(at + kIndexSize, bytes_.size()), nameSize));
            if (!name.empty() && name.size() == nameSize && name.back() != '/') {
                remains_.damaged.insert(name);
            }
        }
    }

    std::string_view bytes_;
    /// Bytes that may yet be inflated: headers can be forged so that each makes all that follows be inflated again.
    std::size_t budget_ = 16 * kMaxContent;
    std::unique_ptr<libdeflate_decompressor, DecompressorDeleter> decompressor_;
    ZipRemains remains_;
};

}  // namespace

ZipRemains findEntries(const fl::Bytes& remains) { return Search(remains).run(); }

}  // namespace flowbook::kit
