#include "opc/zippackage/DeflateCodec.hpp"

#include "fl/ThreadKept.hpp"
#include "opc/zippackage/LiteralDeflate.hpp"

#include <algorithm>
#include <libdeflate.h>
#include <new>

namespace opc::zippackage {
namespace {

constexpr int kLevel = 6;

// Whether there are repetitions in a content is found out from samples of it: one of each 512 KiB, up to 16, which are
// a sixteenth of the content at most. A sample is longer than the distance over which deflate finds repetitions.
constexpr std::size_t kSmallestSampled = std::size_t{64} << 10;
constexpr std::size_t kPerSample = std::size_t{512} << 10;
constexpr std::size_t kMostSamples = 16;
constexpr std::size_t kLongestSample = std::size_t{40} << 10;
constexpr std::size_t kSampledShare = 16;

template <class Owner, class Pointer>
void own(Owner& owner, Pointer made) {
    if (made == nullptr) {
        throw std::bad_alloc();
    }
    owner.reset(made);
}

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* decompressor) const noexcept {
        libdeflate_free_decompressor(decompressor);
    }
};
using KeptDecompressor = fl::ThreadKept<libdeflate_decompressor, FreeDecompressor>;

}  // namespace

void DeflateCodec::Deleter::operator()(libdeflate_compressor* compressor) const noexcept {
    libdeflate_free_compressor(compressor);
}

std::optional<DeflateCodec::Inflated> DeflateCodec::inflate(std::string_view packed, fl::Bytes& content) {
    KeptDecompressor::Pointer decompressor = KeptDecompressor::take();
    if (!decompressor) {
        own(decompressor, libdeflate_alloc_decompressor());
    }
    Inflated result{};
    const libdeflate_result code =
        libdeflate_deflate_decompress_ex(decompressor.get(), packed.data(), packed.size(), content.data(),
                                         content.size(), &result.consumed, &result.produced);
    KeptDecompressor::put(std::move(decompressor));
    return code == LIBDEFLATE_SUCCESS ? std::optional(result) : std::nullopt;
}

std::string_view DeflateCodec::deflate(std::string_view content) {
    if (content.size() < 2) {
        return {};
    }
    if (!compressor_) {
        own(compressor_, libdeflate_alloc_compressor(kLevel));
    }
    constexpr std::size_t kRoomBehind = 8;  // for deflateLiterals()
    const std::size_t smaller = content.size() - 1;
    if (capacity_ < smaller) {
        packed_.reset();
        capacity_ = 0;
        packed_ = std::unique_ptr<char[]>(new char[smaller + kRoomBehind]);
        capacity_ = smaller;
    }
    const std::size_t size =
        isWithoutRepetition(content) ? deflateLiterals(content, packed_.get(), smaller) : search(content, smaller);
    return {packed_.get(), size};
}

std::size_t DeflateCodec::search(std::string_view content, std::size_t capacity) {
    return libdeflate_deflate_compress(compressor_.get(), content.data(), content.size(), packed_.get(), capacity);
}

bool DeflateCodec::isWithoutRepetition(std::string_view content) {
    if (content.size() < kSmallestSampled) {
        return false;
    }
    const std::size_t samples = std::clamp<std::size_t>(content.size() / kPerSample, 1, kMostSamples);
    const std::size_t step = content.size() / samples;
    const std::size_t length = std::min(step / kSampledShare, kLongestSample);
    for (std::size_t i = 0; i != samples; ++i) {
        if (!isSampleWithoutRepetition(content.substr(i * step + (step - length) / 2, length))) {
            return false;
        }
    }
    return true;
}

/// Looks at the codes first, as text takes fewer than five and a half bits a byte and needs no search to be told.
bool DeflateCodec::isSampleWithoutRepetition(std::string_view sample) {
    const std::size_t literals = literalCodesSize(sample);
    if (literals < sample.size() * 11 / 16) {
        return false;
    }
    const std::size_t found = search(sample, sample.size());
    const bool isSmaller = found != 0;
    return !isSmaller || literals <= found + found / 256;
}

std::uint32_t DeflateCodec::checksum(std::string_view content) noexcept {
    return libdeflate_crc32(0, content.data(), content.size());
}

}  // namespace opc::zippackage
