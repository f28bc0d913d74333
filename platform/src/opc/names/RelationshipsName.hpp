#pragma once

#include <string>
#include <string_view>

namespace opc::model::detail {

/// What stands for the package where sources of relationships are named.
constexpr std::string_view kPackageSource = "/";

/// The name of the relationships part of a source, which is a part's name, or that of the package.
std::string relationshipsNameOf(std::string_view sourceName);

/// Whether a folded name is one that relationships parts have.
bool isRelationshipsName(std::string_view folded);

/// Whether no other part may have a folded name.
bool isKeptForRelationships(std::string_view folded);

}  // namespace opc::model::detail
