#pragma once

#include <string>
#include <string_view>

/// Classes of ASCII characters that do not depend on a locale. Anything beyond ASCII is in none of them.
namespace opc::model::detail {

constexpr bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
constexpr bool isLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }
constexpr bool isHexDigit(char16_t c) { return isDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F'); }

/// Whether ASCII holds a character that is in `set`.
constexpr bool isOneOf(char16_t c, std::string_view set) {
    return c < 0x80 && set.find(static_cast<char>(c)) != std::string_view::npos;
}

/// RFC 3986, 2.3.
constexpr bool isUnreserved(char16_t c) { return isLetter(c) || isDigit(c) || isOneOf(c, "-._~"); }

/// What a path segment holds besides percent-encoded octets (RFC 3986, 3.3).
constexpr bool isSegmentCharacter(char16_t c) { return isUnreserved(c) || isOneOf(c, "!$&'()*+,;=:@"); }

constexpr char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline std::string toLower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = toLower(c);
    }
    return lower;
}

/// The value of a hexadecimal digit.
constexpr unsigned hexValue(char c) {
    return static_cast<unsigned>(isDigit(static_cast<unsigned char>(c)) ? c - '0' : toLower(c) - 'a' + 10);
}

/// Whether two hexadecimal digits follow the "%" at `percent`.
template <class Text>
bool isPercentEncoding(const Text& text, std::size_t percent) {
    return text.size() - percent > 2 && isHexDigit(static_cast<char16_t>(text[percent + 1])) &&
           isHexDigit(static_cast<char16_t>(text[percent + 2]));
}

/// The octet that the percent-encoding at `percent` stands for.
inline unsigned char decodedOctet(std::string_view text, std::size_t percent) {
    return static_cast<unsigned char>(hexValue(text[percent + 1]) * 16 + hexValue(text[percent + 2]));
}

}  // namespace opc::model::detail
