#pragma once

#include "kit/document/RichText.hpp"

#include <string>

namespace flowbook::kit {

/// What a rich code document holds besides its code, in words, such as "2 paragraphs of prose, 1 picture";
/// empty when there is nothing.
std::string aroundCode(const RichText& document);

}  // namespace flowbook::kit
