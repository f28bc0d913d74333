#pragma once

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::zippackage {

/// What makes a name unfit for an entry whose meaning is to be the same for every reader; null for a good name. A
/// name that ends in a slash is a folder's.
const char* faultOfName(std::string_view name);

/// Two of the names that are equal without regard to ASCII case (ECMA-376-2, M1.12), or nothing.
std::optional<std::pair<std::string_view, std::string_view>> findEquivalent(const std::vector<std::string_view>& names);

}  // namespace opc::zippackage
