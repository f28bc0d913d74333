// Conversions between UTF-8 and UTF-16. ICU's macros find malformed sequences; what surrounds them is made for text
// that is mostly ASCII, as code is. The strict and the lenient functions share their loops and differ in what they do
// at a malformed sequence.
#include "fl/i18n/Conversion.hpp"

#include "fl/Ascii.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "fl/i18n/codecvt_string_to_ustring.hpp"
#include "fl/i18n/tables/UnicodeLower.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace fl::i18n {
namespace {

constexpr UChar32 kReplacementCharacter = 0xFFFD;

/// Units that are looked at and copied at once: a fixed number, which the compiler turns into vector instructions.
constexpr std::size_t kBlock = 32;

/// Copies a block when all of it is ASCII; returns whether it was.
template <class From, class To>
bool copyAsciiBlock(const From* from, To* to) {
    std::array<From, kBlock> block;  // a copy, which `to` cannot alias
    std::memcpy(block.data(), from, sizeof block);
    From all = 0;
    for (const From unit : block) {
        all = static_cast<From>(all | unit);
    }
    if (all > 0x7F) {
        return false;
    }
    std::transform(block.begin(), block.end(), to, [](From unit) { return static_cast<To>(unit); });
    return true;
}

/// Copies the ASCII units at the front and returns how many they were. Most text is ASCII, and this is what makes its
/// conversion about as fast as copying it.
template <class From, class To>
std::size_t copyAscii(const From* from, std::size_t count, To* to) {
    std::size_t done = 0;
    while (count - done >= kBlock && copyAsciiBlock(from + done, to + done)) {
        done += kBlock;
    }
    for (; done != count && from[done] <= 0x7F; ++done) {
        to[done] = static_cast<To>(from[done]);
    }
    return done;
}

char16_t* append(UChar32 character, char16_t* to) {
    if (U_IS_BMP(character)) {
        *to++ = static_cast<char16_t>(character);
    } else {
        *to++ = static_cast<char16_t>(U16_LEAD(character));
        *to++ = static_cast<char16_t>(U16_TRAIL(character));
    }
    return to;
}

// The nesting is that of ICU's macros.
// NOLINTBEGIN(readability-function-size)
char* append(UChar32 character, char* to) {
    std::ptrdiff_t length = 0;
    U8_APPEND_UNSAFE(to, length, character);
    return to + length;
}

/// Makes the text piece by piece: a string of the whole length would first be filled with zeros.
/// @param onMalformed  called with the offset of a malformed sequence; returns what to put there, or throws.
template <class OnMalformed>
std::u16string decode(std::string_view text, OnMalformed onMalformed) {
    std::array<char16_t, 4096> piece;
    const char16_t* const full = piece.data() + piece.size() - 2;  // room for one more character
    std::u16string result;
    result.reserve(text.size());  // a byte never becomes more than one unit
    const auto* from = reinterpret_cast<const std::uint8_t*>(text.data());
    const std::size_t end = text.size();
    for (std::size_t at = 0; at != end;) {
        char16_t* to = piece.data();
        while (at != end && to < full) {
            const std::size_t run = copyAscii(from + at, std::min(end - at, static_cast<std::size_t>(full - to)), to);
            at += run;
            to += run;
            while (at != end && to < full && !U8_IS_SINGLE(from[at])) {
                const std::size_t start = at;
                UChar32 character = 0;
                U8_NEXT(from, at, end, character);
                to = append(character < 0 ? onMalformed(start) : character, to);
            }
        }
        result.append(piece.data(), to);
    }
    return result;
}

/// Returns how many bytes some units need in UTF-8 beyond one each. A surrogate pair is counted with two bytes too
/// many. The sum has 16 bits, like the units, so that the loop becomes vector instructions; a block is far too short to
/// overflow it.
std::size_t furtherBytes(const char16_t* from, std::size_t count) {
    return std::accumulate(from, from + count, std::uint16_t{0}, [](std::uint16_t sum, char16_t unit) {
        return static_cast<std::uint16_t>(sum + (unit > 0x7F) + (unit > 0x7FF));
    });
}

/// Returns a length that is enough for the whole text.
std::size_t utf8LengthBound(std::u16string_view text) {
    std::size_t length = text.size();
    std::size_t at = 0;
    for (; text.size() - at >= kBlock; at += kBlock) {
        length += furtherBytes(text.data() + at, kBlock);
    }
    return length + furtherBytes(text.data() + at, text.size() - at);
}

/// @param onMalformed  called with the offset of a lone surrogate; returns what to put there, or throws.
template <class OnMalformed>
std::string encode(std::u16string_view text, OnMalformed onMalformed) {
    std::string result(utf8LengthBound(text), '\0');
    const char16_t* from = text.data();
    char* to = result.data();
    const std::size_t end = text.size();
    for (std::size_t at = 0; at != end;) {
        const std::size_t run = copyAscii(from + at, end - at, to);
        at += run;
        to += run;
        while (at != end && from[at] > 0x7F) {
            const std::size_t start = at;
            UChar32 character = 0;
            U16_NEXT(from, at, end, character);
            to = append(U_IS_SURROGATE(character) ? onMalformed(start) : character, to);
        }
    }
    result.resize(static_cast<std::size_t>(to - result.data()));
    return result;
}

// NOLINTEND(readability-function-size)

UChar32 replaceMalformed(std::size_t) { return kReplacementCharacter; }

[[noreturn]] UChar32 failAtByte(std::size_t offset) {
    throw ConversionError("malformed UTF-8 at byte " + std::to_string(offset), offset);
}

[[noreturn]] UChar32 failAtUnit(std::size_t offset) {
    throw ConversionError("malformed UTF-16: lone surrogate at unit " + std::to_string(offset), offset);
}

}  // namespace

std::string to_string(std::u16string_view text) { return encode(text, replaceMalformed); }

std::u16string to_ustring(std::string_view text) { return decode(text, replaceMalformed); }

std::u16string utf8_to_ustring(std::string_view text) { return decode(text, failAtByte); }

std::string ustring_to_utf8(std::u16string_view text) { return encode(text, failAtUnit); }

std::u16string to_lower(std::u16string_view text) {
    std::u16string result(text);
    if (ascii::isAscii(text)) {
        std::transform(result.begin(), result.end(), result.begin(), [](char16_t unit) { return ascii::fold(unit); });
        return result;
    }
    const std::size_t length = unicodeLower(text, result);
    // The result may be longer than the text; then it is made once more, with enough room.
    const bool complete = length <= result.size();
    result.resize(length);
    if (!complete) {
        unicodeLower(text, result);
    }
    return result;
}

ConversionError::ConversionError(const std::string& message, std::size_t offset)
    : std::runtime_error(message), offset_(offset) {}

ConversionError::~ConversionError() = default;

codecvt_string_to_ustring::codecvt_string_to_ustring(std::string_view codecName) {
    if (to_lower(to_ustring(codecName)) != u"utf-8") {
        throw std::invalid_argument("unknown text encoding \"" + std::string(codecName) + "\"");
    }
}

std::u16string codecvt_string_to_ustring::operator()(std::string_view text) const { return utf8_to_ustring(text); }

}  // namespace fl::i18n
