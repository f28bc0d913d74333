#pragma once

#include <string_view>

namespace flowbook::kit {

/// share/page/page.html, in which {{NAME}} stands for what differs from page to page.
std::string_view pageSkeleton();

/// share/page/index.js.
std::string_view indexScript();

/// share/page/page.css.
std::string_view pageStyle();

}  // namespace flowbook::kit
