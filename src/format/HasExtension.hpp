#pragma once

#include <string>

namespace flowbook::detail {

/// Whether a file name ends in an extension, in any letter case of the name.
/// @param extension  lower case, with its dot. A name that is nothing but the extension has none.
bool hasExtension(const std::u16string& fileName, const std::u16string& extension);

}  // namespace flowbook::detail
