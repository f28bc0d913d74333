#pragma once

#include <cstddef>
#include <emmintrin.h>

namespace plainxml {

/// Bytes that are looked at at once, in a register that every x86-64 has.
class Block {
public:
    static constexpr std::size_t kSize = sizeof(__m128i);

    explicit Block(const char* at) : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))) {}

    /// Which bytes are one of the characters.
    template <class... Character>
    __m128i isOneOf(Character... characters) const {
        __m128i any = _mm_setzero_si128();
        ((any = _mm_or_si128(any, _mm_cmpeq_epi8(bytes_, _mm_set1_epi8(characters)))), ...);
        return any;
    }

    /// Which bytes are ASCII above a character.
    __m128i isAbove(char c) const { return _mm_cmpgt_epi8(bytes_, _mm_set1_epi8(c)); }

    /// How many bytes at the front are `wanted` and not `unwanted`.
    static std::size_t front(__m128i wanted, __m128i unwanted) {
        const auto are = static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(unwanted, wanted)));
        return static_cast<std::size_t>(__builtin_ctz(~are));
    }

    /// As UTF-16, what is ASCII. @param to  has room for kSize units.
    void widen(char16_t* to) const {
        const __m128i zero = _mm_setzero_si128();
        auto* const units = reinterpret_cast<__m128i*>(to);
        _mm_storeu_si128(units, _mm_unpacklo_epi8(bytes_, zero));
        _mm_storeu_si128(units + 1, _mm_unpackhi_epi8(bytes_, zero));
    }

private:
    __m128i bytes_;
};

}  // namespace plainxml
