#pragma once

#include <string>

namespace flowbook::detail {

/// The XML of a styles part without styles.
std::string emptyStylesXml();

}  // namespace flowbook::detail
