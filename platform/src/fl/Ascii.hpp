#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
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

/// Folds eight characters at once, each in a byte.
constexpr std::uint64_t foldEight(std::uint64_t characters) {
    constexpr std::uint64_t kEach = 0x0101010101010101;
    const std::uint64_t low = characters & (0x7F * kEach);  // adding to these carries into no other
    const std::uint64_t fromA = low + (0x80 - 'A') * kEach;
    const std::uint64_t beyondZ = low + (0x80 - 'Z' - 1) * kEach;
    return characters | ((fromA & ~beyondZ & ~characters & (0x80 * kEach)) >> 2);
}

inline std::string fold(std::string_view text) {
    std::string folded(text);
    std::size_t done = 0;
    for (std::uint64_t eight = 0; folded.size() - done >= sizeof eight; done += sizeof eight) {
        std::memcpy(&eight, &folded[done], sizeof eight);
        eight = foldEight(eight);
        std::memcpy(&folded[done], &eight, sizeof eight);
    }
    for (; done != folded.size(); ++done) {
        folded[done] = fold(folded[done]);
    }
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

/// Returns the value of a hexadecimal digit. Nothing is checked.
constexpr unsigned hexValue(char digit) {
    return static_cast<unsigned>(isDigit(static_cast<unsigned char>(digit)) ? digit - '0' : fold(digit) - 'a' + 10);
}

}  // namespace fl::ascii
