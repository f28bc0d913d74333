#pragma once

#include <string>
#include <string_view>

namespace flowbook::kit {

/// The name with ASCII capitals made small, as names of parts, entries and extensions are compared (ECMA-376-2).
std::string fold(std::string_view name);

/// What stands behind the last dot of the last segment; empty where there is none.
std::string extensionOf(const std::string& name);

/// The entry of the relationships of a part, whose entry is given; of the package for the empty one.
std::string relationshipsEntry(std::string_view entry);

}  // namespace flowbook::kit
