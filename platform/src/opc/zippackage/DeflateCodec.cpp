// Chooses how an entry is deflated. A search for repetitions takes nearly all the time, and compressed pictures in
// base64 have none. Whether a content has any is decided by samples, so that the answer costs little; a wrong answer
// costs size or time, never correctness, as both ways give a plain deflate stream.
#include "opc/zippackage/DeflateCodec.hpp"

#include "fl/ThreadKept.hpp"
#include "opc/zippackage/LiteralDeflate.hpp"

#include <algorithm>
#include <libdeflate.h>
#include <new>

namespace opc::zippackage {
namespace {

/// The level that libdeflate and zlib take by default: a higher one costs several times the time for a few per cent.
constexpr int kLevel = 6;

// Two tests decide whether a content is without repetitions. The first is cheap and turns down text, whose bytes are
// not evenly spread: it looks at one KiB of every 8, at irregular distances, so that no regular layout of the content
// can hide what lies between. The second searches samples for repetitions, one of each MiB up to 16; in a large content
// a sample is longer than 32 KiB, the distance over which deflate finds any.
constexpr std::size_t kSmallestSampled = std::size_t{64} << 10;
constexpr std::size_t kStride = std::size_t{8} << 10;
constexpr std::size_t kLookedAt = std::size_t{1} << 10;
constexpr std::size_t kPerSample = std::size_t{1} << 20;
constexpr std::size_t kMostSamples = 16;
constexpr std::size_t kShortestSample = std::size_t{16} << 10;
constexpr std::size_t kLongestSample = std::size_t{40} << 10;
constexpr std::size_t kSampledShare = 32;

bool isEvenlySpread(std::string_view content) {
    std::uint32_t number = 1;
    for (std::size_t at = 0; content.size() - at >= kStride; at += kStride) {
        number = number * 1664525 + 1013904223;  // a linear congruential generator: the same samples each time
        if (!areBytesEvenlySpread(content.substr(at + (number >> 8U) % (kStride - kLookedAt), kLookedAt))) {
            return false;
        }
    }
    return true;
}

/// Both functions of libdeflate that make something return null only when there is no memory.
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
    // A result as long as the content gains nothing, so there is room for less only; deflateLiterals() may write
    // behind.
    constexpr std::size_t kRoomBehind = 8;
    const std::size_t smaller = content.size() - 1;
    if (capacity_ < smaller) {
        packed_.reset();  // before the new one is made, so that there are never two at a time
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
    if (content.size() < kSmallestSampled || !isEvenlySpread(content)) {
        return false;
    }
    const std::size_t samples = std::clamp<std::size_t>(content.size() / kPerSample, 1, kMostSamples);
    const std::size_t step = content.size() / samples;
    const std::size_t length = std::clamp(step / kSampledShare, kShortestSample, kLongestSample);
    for (std::size_t i = 0; i != samples; ++i) {
        const std::string_view sample = content.substr(i * step + (step - length) / 2, length);
        const std::size_t found = search(sample, length);
        // A search that gains less than a 256th is not worth its time.
        if (found != 0 && literalCodesSize(sample) > found + found / 256) {
            return false;
        }
    }
    return true;
}

std::uint32_t DeflateCodec::checksum(std::string_view content) noexcept {
    return libdeflate_crc32(0, content.data(), content.size());
}

}  // namespace opc::zippackage
