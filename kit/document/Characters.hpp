#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace flowbook::kit {

/// Where a reader sees a text. A page keeps what belongs to words of several scripts and to emoji, as joiners and
/// variation selectors do, and tabs and line feeds.
enum class Shown { InTerminal, OnPage };

/// Whether the character is invisible there or changes how its neighbours are shown: controls, the Unicode category
/// Cf, line and paragraph separators, fillers and variation selectors.
bool isHidden(char32_t character, Shown where);

/// As \uXXXX or \UXXXXXXXX.
std::string escapeOf(char32_t character);

/// The character that starts at `at`, and its length in units; half a pair counts for itself.
std::pair<char32_t, std::size_t> characterAt(std::u16string_view text, std::size_t at);

bool startsWith(std::string_view text, std::string_view start);
bool endsWith(std::string_view text, std::string_view end);

}  // namespace flowbook::kit
