#pragma once

#include <cstddef>
#include <cstring>

#if defined(__SSE2__) && !defined(PLAINXML_PORTABLE)
#include <emmintrin.h>
#endif

namespace plainxml {

#if defined(__SSE2__) && !defined(PLAINXML_PORTABLE)

/// A block of bytes that are examined at once, in a register that every x86-64 has.
class Block {
public:
    static constexpr std::size_t kSize = sizeof(__m128i);

    /// A subset of the bytes, as a mask.
    using Bytes = __m128i;

    explicit Block(const char* at) : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))) {}

    /// Returns the bytes that are one of the characters.
    template <class... Character>
    Bytes isOneOf(Character... characters) const {
        __m128i any = _mm_setzero_si128();
        ((any = either(any, _mm_cmpeq_epi8(bytes_, _mm_set1_epi8(characters)))), ...);
        return any;
    }

    /// Returns the bytes that are ASCII above a character.
    Bytes isAbove(char c) const { return _mm_cmpgt_epi8(bytes_, _mm_set1_epi8(c)); }

    static Bytes either(Bytes a, Bytes b) { return _mm_or_si128(a, b); }

    /// Returns those of the bytes that are followed by one of them; what follows the last byte counts as one.
    static Bytes followed(Bytes bytes) {
        const __m128i beyond = _mm_slli_si128(_mm_set1_epi8(-1), kSize - 1);
        return _mm_and_si128(bytes, either(_mm_srli_si128(bytes, 1), beyond));
    }

    /// Returns how many bytes at the front are `wanted` and not `unwanted`.
    static std::size_t front(Bytes wanted, Bytes unwanted) {
        const auto are = static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(unwanted, wanted)));
        return static_cast<std::size_t>(__builtin_ctz(~are));
    }

    /// Writes the bytes that are ASCII as UTF-16. @param to  has room for kSize units.
    void widen(char16_t* to) const {
        const __m128i zero = _mm_setzero_si128();
        auto* const units = reinterpret_cast<__m128i*>(to);
        _mm_storeu_si128(units, _mm_unpacklo_epi8(bytes_, zero));
        _mm_storeu_si128(units + 1, _mm_unpackhi_epi8(bytes_, zero));
    }

private:
    __m128i bytes_;
};

#else

/// The same for all other processors, in plain C++. The tests compare both on those that have the register.
class Block {
public:
    static constexpr std::size_t kSize = 16;
    using Bytes = unsigned;  ///< a bit for each byte, that of the first lowest

    explicit Block(const char* at) { std::memcpy(bytes_, at, kSize); }

    template <class... Character>
    Bytes isOneOf(Character... characters) const {
        return those([=](char c) { return ((c == characters) || ...); });
    }

    Bytes isAbove(char limit) const {
        return those([=](char c) { return static_cast<signed char>(c) > static_cast<signed char>(limit); });
    }

    static Bytes either(Bytes a, Bytes b) { return a | b; }

    static Bytes followed(Bytes bytes) { return bytes & (bytes >> 1 | 1U << (kSize - 1)); }

    static std::size_t front(Bytes wanted, Bytes unwanted) {
        return static_cast<std::size_t>(__builtin_ctz(~(wanted & ~unwanted)));
    }

    void widen(char16_t* to) const {
        for (std::size_t i = 0; i != kSize; ++i) {
            to[i] = static_cast<unsigned char>(bytes_[i]);
        }
    }

private:
    template <class Is>
    Bytes those(Is is) const {
        Bytes bits = 0;
        for (std::size_t i = 0; i != kSize; ++i) {
            bits |= static_cast<Bytes>(is(bytes_[i])) << i;
        }
        return bits;
    }

    char bytes_[kSize];
};

#endif

}  // namespace plainxml
