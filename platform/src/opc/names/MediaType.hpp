#pragma once

#include "opc/names/Ascii.hpp"

#include <algorithm>
#include <string_view>
#include <type_traits>

namespace opc::model::detail {

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
