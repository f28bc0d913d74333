#pragma once

#include "kit/page/Markup.hpp"

#include <string>
#include <string_view>

namespace flowbook::kit {

/// A whole page: the skeleton with a title and a body. It runs nothing and loads nothing: its content security policy
/// (CSP level 3) allows no more than pictures that it holds and its own style, by its digest.
std::string framed(std::string_view title, const Markup& body);

/// Whether a file begins as pages of this command do, whichever version made them.
bool isPage(std::string_view content);

}  // namespace flowbook::kit
