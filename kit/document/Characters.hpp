#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace flowbook::kit {

/// Whether the character is invisible or changes how its neighbours are shown: controls, tabs and line feeds included,
/// the Unicode category Cf, line and paragraph separators, fillers and variation selectors.
bool isHidden(char32_t character);

/// As \uXXXX or \UXXXXXXXX.
std::string escapeOf(char32_t character);

/// The character that starts at `at`, and its length in units; half a pair counts for itself.
std::pair<char32_t, std::size_t> characterAt(std::u16string_view text, std::size_t at);

/// Whether a byte of UTF-8 goes on with the character before it; false at the end of the text.
bool isInsideCharacter(std::string_view utf8, std::size_t at);

/// Where the character that starts at `at` ends.
std::size_t characterEnd(std::string_view utf8, std::size_t at);

bool startsWith(std::string_view text, std::string_view start);
bool endsWith(std::string_view text, std::string_view end);

}  // namespace flowbook::kit
