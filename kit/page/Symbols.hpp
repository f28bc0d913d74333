#pragma once

#include <string>
#include <string_view>

namespace flowbook::kit {

/// The character that a symbol of a font stands for; empty when only the font shows it.
/// @param code  its number in the font, in hexadecimal digits; from F000 on it is one of the font's own.
std::string symbolOf(std::string_view font, std::string_view code);

}  // namespace flowbook::kit
