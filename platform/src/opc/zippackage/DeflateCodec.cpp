#include "opc/zippackage/DeflateCodec.hpp"

#include "fl/ThreadKept.hpp"

#include <libdeflate.h>
#include <new>

namespace opc::zippackage {
namespace {

constexpr int kLevel = 6;

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
    const std::size_t smaller = content.size() - 1;
    if (capacity_ < smaller) {
        packed_.reset();
        capacity_ = 0;
        packed_ = std::unique_ptr<char[]>(new char[smaller]);
        capacity_ = smaller;
    }
    const std::size_t size =
        libdeflate_deflate_compress(compressor_.get(), content.data(), content.size(), packed_.get(), smaller);
    return {packed_.get(), size};
}

std::uint32_t DeflateCodec::checksum(std::string_view content) noexcept {
    return libdeflate_crc32(0, content.data(), content.size());
}

}  // namespace opc::zippackage
