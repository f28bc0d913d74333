#pragma once

#include "flowbook/FlowbookFileReader.hpp"

#include <functional>
#include <string>

namespace flowbook::tool {

/// The plain code as UTF-8, a lone surrogate as U+FFFD, ending in a line feed unless it is empty.
/// @throws what the reader throws.
std::string readCodeText(const FlowbookFileReader& reader);

/// The same in pieces of whole characters, so that a large code is not in memory as UTF-8 too.
void readCodeText(const FlowbookFileReader& reader, const std::function<void(const std::string&)>& write);

}  // namespace flowbook::tool
