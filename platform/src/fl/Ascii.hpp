#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

/// ASCII without regard to a locale. Anything beyond ASCII is in no class and folds to itself.
namespace fl::ascii {

constexpr bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
constexpr bool isLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }
constexpr bool isHexDigit(char16_t c) { return isDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F'); }

template <class Text>
bool isAscii(const Text& text) {
    return std::all_of(text.begin(), text.end(),
                       [](auto c) { return static_cast<std::make_unsigned_t<decltype(c)>>(c) < 0x80; });
}

constexpr char16_t fold(char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c; }
constexpr char fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline std::string fold(std::string_view text) {
    std::string folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), [](char c) { return fold(c); });
    return folded;
}

inline constexpr std::string_view kHexDigits = "0123456789abcdef";
inline constexpr std::string_view kUpperHexDigits = "0123456789ABCDEF";

/// The lowest digits of a number, the highest of them first.
inline std::string hex(std::uint64_t number, std::size_t count, std::string_view digits = kHexDigits) {
    std::string text(count, '0');
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit, number >>= 4) {
        *digit = digits[number & 15];
    }
    return text;
}

constexpr unsigned hexValue(char digit) {
    return static_cast<unsigned>(isDigit(static_cast<unsigned char>(digit)) ? digit - '0' : fold(digit) - 'a' + 10);
}

}  // namespace fl::ascii
