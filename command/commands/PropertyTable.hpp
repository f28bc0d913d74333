#pragma once

#include "commands/PropertyOptions.hpp"

#include <map>

namespace flowbook::tool {

/// Which file is to have which properties.
using PropertyTable = std::map<std::string, PropertyOptions>;

/// Reads a table of comma-separated values (RFC 4180), UTF-8: its first line names the columns, "file" and some of
/// "title", "description" and "version". An empty cell without quotes leaves a property as it is.
/// @param argument  a file, or "-" for standard input.
/// @throws Failure (usage) that names the line which is wrong.
PropertyTable readPropertyTable(const std::string& argument);

}  // namespace flowbook::tool
