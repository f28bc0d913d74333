#include "plainxml/Widening.hpp"

#include <array>
#include <cstdint>
#include <cstring>

namespace plainxml {
namespace {

/// Bytes that are looked at and widened at once, in a register that every x86-64 has; GCC and Clang build it from
/// others elsewhere.
constexpr std::size_t kBlock = 16;
using Block = unsigned char __attribute__((vector_size(kBlock)));

constexpr unsigned char kFirstGraphic = 0x20, kGraphics = 0x60;

bool isPlain(unsigned char c) {
    const bool isText = c == '\t' || c == '\n' || (c >= kFirstGraphic && c < kFirstGraphic + kGraphics);
    return isText && c != '<' && c != '&' && c != ']';
}

/// How many bytes at the front of a block are plain.
std::size_t plainBytes(Block block) {
    const auto noText = (block - kFirstGraphic >= kGraphics) & (block != '\t') & (block != '\n');
    const auto odd = noText | (block == '<') | (block == '&') | (block == ']');
    std::array<std::uint64_t, 2> halves{};
    static_assert(sizeof halves == sizeof odd);
    std::memcpy(halves.data(), &odd, sizeof odd);
    if (halves[0] != 0) {
        return static_cast<std::size_t>(__builtin_ctzll(halves[0])) / 8;
    }
    return halves[1] == 0 ? kBlock : 8 + static_cast<std::size_t>(__builtin_ctzll(halves[1])) / 8;
}

}  // namespace

/// Whole blocks are widened; what is not plain of the last one is written over by what comes next.
void Widening::takePlain(const char*& at, const char* end) {
    while (end - at >= static_cast<std::ptrdiff_t>(kBlock)) {
        makeRoomFor(kBlock);
        Block block;
        std::memcpy(&block, at, sizeof block);
        for (std::size_t i = 0; i != kBlock; ++i) {
            units_[used_ + i] = block[i];
        }
        const std::size_t plain = plainBytes(block);
        at += plain;
        used_ += plain;
        if (plain != kBlock) {
            return;
        }
    }
    makeRoomFor(kBlock);
    for (; at != end && isPlain(static_cast<unsigned char>(*at)); ++at) {
        units_[used_++] = static_cast<unsigned char>(*at);
    }
}

void Widening::put(char32_t point) {
    makeRoomFor(2);
    if (point > 0xFFFF) {
        units_[used_++] = static_cast<char16_t>(0xD7C0 + (point >> 10));
        point = 0xDC00 | (point & 0x3FF);
    }
    units_[used_++] = static_cast<char16_t>(point);
}

void Widening::flush() {
    if (text_ != nullptr) {
        text_->append(units_, used_);
    }
    used_ = 0;
}

void Widening::makeRoomFor(std::size_t count) {
    if (kSize - used_ < count) {
        flush();
    }
}

}  // namespace plainxml
