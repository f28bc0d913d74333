#pragma once

#include <string>

namespace flowbook::detail {

namespace output_part {

/// The XML of an output part without outputs, in the given layout, which is inserted as it is.
std::string replaceLayout(const std::string& layout);

}  // namespace output_part

/// The XML of a new file's output part, in the layout that the user prefers.
std::string makeEmptyOutputXml();

/// The XML of a styles part without styles.
std::string emptyStylesXml();

}  // namespace flowbook::detail
