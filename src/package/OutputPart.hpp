#pragma once

#include <string>

namespace flowbook::detail::output_part {

/// The XML of an output part without outputs, in the given layout, which is inserted as it is.
std::string replaceLayout(const std::string& layout);

}  // namespace flowbook::detail::output_part

namespace flowbook::detail {

/// The XML of a new file's output part, in the layout that the user prefers.
/// @throws whatever the settings throw.
std::string makeEmptyOutputXml();

}  // namespace flowbook::detail
