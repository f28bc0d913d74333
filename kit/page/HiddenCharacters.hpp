#pragma once

#include <cstddef>
#include <string_view>

namespace flowbook::kit {

/// Whether the character at `at` cannot be seen there, so that a page marks it. Those that a script or a picture needs
/// are not marked where they belong: joiners within emoji and between letters that join, variation selectors behind
/// what varies, direction marks beside Hebrew or Arabic, spaces without width in Thai. Tabs and line feeds are not
/// hidden.
bool isHiddenAt(std::u16string_view text, std::size_t at);

}  // namespace flowbook::kit
