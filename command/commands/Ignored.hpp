#pragma once

#include "io/InputOptions.hpp"

namespace flowbook::tool {

/// Removes the names below the folders among `arguments` that git would ignore: by the .gitignore files of the
/// repository that a folder lies in, if any, and by files called .ignore, which hold patterns of the same kind.
/// @throws Failure when git cannot be run.
void removeIgnored(std::vector<InputName>& names, const std::vector<std::string>& arguments);

}  // namespace flowbook::tool
