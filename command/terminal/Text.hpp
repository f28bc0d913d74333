#pragma once

#include "terminal/Bytes.hpp"

#include <string>
#include <string_view>

namespace flowbook::tool {

/// An argument of the command line. @throws Failure (usage) when it is not UTF-8.
std::u16string fromArgument(const std::string& argument);

/// As fromArgument(), for a text that is to be a property.
/// @throws Failure (usage) also for characters that XML cannot hold.
std::u16string propertyFromArgument(const std::string& argument);

/// UTF-8 text, less a leading byte order mark.
/// @throws Failure (usage) naming the byte that is wrong.
std::u16string fromUtf8(const Bytes& bytes, const std::string& file);

/// On one line and without characters that a terminal might obey or not show (controls, bidirectional
/// and other format characters, fillers); these appear as escapes.
std::string printable(std::string_view utf8);

/// As above, but line feeds and tabs stay.
std::string printableLines(std::string_view utf8);

/// printable(), in quotes; quotes and backslashes inside are escaped.
std::string inQuotes(std::string_view utf8);

}  // namespace flowbook::tool
