#include "plainxml/Widening.hpp"

#include <emmintrin.h>

namespace plainxml {
namespace {

/// Bytes that are looked at and widened at once, in a register that every x86-64 has.
constexpr std::size_t kBlock = sizeof(__m128i);

constexpr char kLastControl = 0x1F;

bool isPlain(char c) {
    const bool isText = c == '\t' || c == '\n' || c > kLastControl;
    return isText && c != '<' && c != '&' && c != ']';
}

/// How many bytes at the front of a block are plain. Those beyond ASCII are negative.
std::size_t plainBytes(__m128i block) {
    const auto is = [block](char c) { return _mm_cmpeq_epi8(block, _mm_set1_epi8(c)); };
    const __m128i isGraphic = _mm_cmpgt_epi8(block, _mm_set1_epi8(kLastControl));
    const __m128i isText = _mm_or_si128(isGraphic, _mm_or_si128(is('\t'), is('\n')));
    const __m128i isMarkup = _mm_or_si128(is('<'), _mm_or_si128(is('&'), is(']')));
    const auto plain = static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(isMarkup, isText)));
    return static_cast<std::size_t>(__builtin_ctz(~plain));
}

void widen(__m128i block, char16_t* to) {
    const __m128i zero = _mm_setzero_si128();
    auto* const units = reinterpret_cast<__m128i*>(to);
    _mm_storeu_si128(units, _mm_unpacklo_epi8(block, zero));
    _mm_storeu_si128(units + 1, _mm_unpackhi_epi8(block, zero));
}

}  // namespace

/// Whole blocks are widened; what is not plain of the last one is written over by what comes next.
void Widening::takePlain(const char*& at, const char* end) {
    while (end - at >= static_cast<std::ptrdiff_t>(kBlock)) {
        makeRoomFor(kBlock);
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
        widen(block, units_ + used_);
        const std::size_t plain = plainBytes(block);
        at += plain;
        used_ += plain;
        if (plain != kBlock) {
            return;
        }
    }
    makeRoomFor(kBlock);
    for (; at != end && isPlain(*at); ++at) {
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
