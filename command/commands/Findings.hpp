#pragma once

#include "kit/check/Check.hpp"
#include "terminal/Output.hpp"

#include <map>

namespace flowbook::tool {

/// A finding as one line: file, part, place, severity, what it is, and the name of its kind.
std::string describe(const std::string& file, const kit::Finding& finding);

/// The findings of many files as one JSON text for code review systems (SARIF 2.1.0).
/// @param findings  by the names of the files.
void writeSarif(Sink& out, const std::map<std::string, std::vector<kit::Finding>>& findings);

}  // namespace flowbook::tool
