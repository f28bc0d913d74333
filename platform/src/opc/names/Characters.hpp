#pragma once

#include "fl/Ascii.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <type_traits>

namespace opc::model::detail {

using fl::ascii::fold;
using fl::ascii::hexValue;
using fl::ascii::isDigit;
using fl::ascii::isHexDigit;
using fl::ascii::isLetter;

/// Whether a character is ASCII and in `set`.
constexpr bool isOneOf(char16_t c, std::string_view set) {
    return c < 0x80 && set.find(static_cast<char>(c)) != std::string_view::npos;
}

/// A set of ASCII characters as a table, so that one look-up finds whether a character is in it.
class AsciiClass {
public:
    /// Makes the set of letters, digits and `others`.
    constexpr explicit AsciiClass(std::string_view others) {
        for (char16_t c = 0; c != 0x80; ++c) {
            has_[c] = isLetter(c) || isDigit(c) || isOneOf(c, others);
        }
    }

    constexpr bool has(char16_t c) const { return c < 0x80 && has_[c]; }

private:
    std::array<bool, 0x80> has_{};
};

inline constexpr AsciiClass kUnreserved("-._~");
inline constexpr AsciiClass kSegmentCharacters("-._~!$&'()*+,;=:@");

/// Whether a URI may hold a character without encoding it anywhere (RFC 3986, 2.3).
constexpr bool isUnreserved(char16_t c) { return kUnreserved.has(c); }

/// What a path segment holds besides percent-encoded octets (RFC 3986, 3.3).
constexpr bool isSegmentCharacter(char16_t c) { return kSegmentCharacters.has(c); }

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

inline constexpr AsciiClass kTokenCharacters("!#$%&'*+-.^_`|~");

/// What a token of a media type consists of (RFC 7230, 3.2.6).
constexpr bool isTokenCharacter(char16_t c) { return kTokenCharacters.has(c); }

template <class Text>
bool isToken(const Text& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](auto c) {
        return isTokenCharacter(static_cast<std::make_unsigned_t<decltype(c)>>(c));
    });
}

/// Whether a text is a type and a subtype, and nothing else.
inline bool isBareMediaType(std::string_view text) {
    const std::size_t slash = std::min(text.find('/'), text.size());
    return slash != text.size() && isToken(text.substr(0, slash)) && isToken(text.substr(slash + 1));
}

}  // namespace opc::model::detail
