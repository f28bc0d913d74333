#pragma once

#include <string>
#include <vector>

namespace flowbook::tool {

/// "; did you mean 'X'?" with the known word that is nearest to a mistyped one; empty when none is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& known);

}  // namespace flowbook::tool
