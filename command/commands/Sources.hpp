#pragma once

#include "terminal/Bytes.hpp"

#include <string>

namespace flowbook::tool {

/// What an option names as the content of a part; "-" is standard input. @throws Failure.
Bytes readSource(const std::string& argument);

/// As above, for a rich code document. @throws Failure (usage) also when no code can be read from it.
Bytes readRichCode(const std::string& argument);

}  // namespace flowbook::tool
