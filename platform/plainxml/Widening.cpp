#include "plainxml/Widening.hpp"

#include "plainxml/XmlCharacters.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace plainxml {
namespace {

/// Bytes that are looked at and widened at once: a fixed number, which the compiler turns into vector instructions.
constexpr std::size_t kBlock = 32;

/// Without branches, so that it is evaluated for all bytes of a block at once.
constexpr bool isPlain(unsigned char c) {
    const bool isText = (c >= 0x20) | (c == '\t') | (c == '\n');
    const bool isMarkup = (c == '<') | (c == '&') | (c == ']');
    return isText & !isMarkup & (c < 0x80);
}

/// Widens a block when all of it is plain; returns whether it was.
bool widenPlainBlock(const char* from, char16_t* to) {
    std::array<unsigned char, kBlock> block;  // a copy, which `to` cannot alias
    std::memcpy(block.data(), from, sizeof block);
    unsigned char odd = 0;
    for (const unsigned char c : block) {
        odd = static_cast<unsigned char>(odd | static_cast<unsigned char>(!isPlain(c)));
    }
    if (odd != 0) {
        return false;
    }
    std::transform(block.begin(), block.end(), to, [](unsigned char c) { return static_cast<char16_t>(c); });
    return true;
}

}  // namespace

void Widening::takePlain(const char*& at, const char* end) {
    while (end - at >= static_cast<std::ptrdiff_t>(kBlock)) {
        makeRoomFor(kBlock);
        if (!widenPlainBlock(at, units_ + used_)) {
            break;
        }
        at += kBlock;
        used_ += kBlock;
    }
    makeRoomFor(kBlock);
    for (const char* const stop = at + std::min<std::ptrdiff_t>(end - at, kBlock); at != stop; ++at) {
        const auto c = static_cast<unsigned char>(*at);
        if (!isPlain(c)) {
            break;
        }
        units_[used_++] = c;
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
