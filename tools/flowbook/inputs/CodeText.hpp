#pragma once

#include "flowbook/FlowbookFileReader.hpp"

#include <string>

namespace flowbook::tool {

/// The plain code as UTF-8, a lone surrogate as U+FFFD, ending in a line feed unless it is empty.
/// @throws what the reader throws.
std::string readCodeText(const FlowbookFileReader& reader);

}  // namespace flowbook::tool
