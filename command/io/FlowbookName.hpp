#pragma once

#include <string_view>

namespace flowbook::tool {

/// Whether a path ends in .tqx or .tqapp, in any case.
bool isFlowbookName(std::string_view path) noexcept;

}  // namespace flowbook::tool
