// Turns ASCII into UTF-16, a block at a time, and finds where plain text ends while the block is in a register.
#include "plainxml/Widening.hpp"

#include "plainxml/Block.hpp"

namespace plainxml {
namespace {

constexpr char kLastControl = 0x1F;

template <bool isCdata>
bool isPlain(char c) {
    const bool isText = c == '\t' || c == '\n' || static_cast<signed char>(c) > kLastControl;
    return isText && c != ']' && (isCdata || (c != '<' && c != '&'));
}

/// Returns how many bytes at the front of a block are plain. Code is full of "]", so only one before another counts.
template <bool isCdata>
std::size_t plainBytes(const Block& block) {
    const Block::Bytes text = Block::either(block.isAbove(kLastControl), block.isOneOf('\t', '\n'));
    const Block::Bytes brackets = Block::followed(block.isOneOf(']'));
    return Block::front(text, isCdata ? brackets : Block::either(brackets, block.isOneOf('<', '&')));
}

}  // namespace

/// Whole blocks are widened before it is known how much of them is plain: what is not is written over by what comes
/// next.
template <bool isCdata>
void Widening::takePlain(const char*& at, const char* end) {
    while (end - at >= static_cast<std::ptrdiff_t>(Block::kSize)) {
        makeRoomFor(Block::kSize);
        const Block block(at);
        block.widen(units_ + used_);
        const std::size_t plain = plainBytes<isCdata>(block);
        at += plain;
        used_ += plain;
        if (plain != Block::kSize) {
            return;
        }
    }
    makeRoomFor(Block::kSize);
    for (; at != end && isPlain<isCdata>(*at); ++at) {
        units_[used_++] = static_cast<unsigned char>(*at);
    }
}

template void Widening::takePlain<true>(const char*& at, const char* end);
template void Widening::takePlain<false>(const char*& at, const char* end);

void Widening::put(char32_t point) {
    makeRoomFor(2);
    if (point > 0xFFFF) {  // 0xD7C0 is 0xD800 - (0x10000 >> 10), as a pair leaves out 0x10000
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
