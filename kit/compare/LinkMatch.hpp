#pragma once

#include "kit/compare/Version.hpp"

#include <array>
#include <vector>

namespace flowbook::kit {

// The places of the three versions in a trio.
inline constexpr std::size_t kBase = 0, kOurs = 1, kTheirs = 2;

/// What is the same thing in three versions; null where a version does not have it.
using Trio = std::array<const Node*, 3>;
using LinkTrio = std::array<const Link*, 3>;
using LinkLists = std::array<std::vector<const Link*>, 3>;

/// What a relationship of the package is for, where a flowbook has one of that kind.
enum class Role { None, Code, Output, CoreProperties, MoreProperties };

/// Finds out which relationships of the package are the same in three versions: the first of each role, and as outputs
/// all of that type; then those of
/// one type and target; then those that lead to the same; then the only one that is left of a type. The order is that
/// of ours, then of what only base or theirs has.
std::vector<std::pair<Role, LinkTrio>> matchPackageLinks(const Version& base, const Version& ours,
                                                         const Version& theirs);

/// The same for relationships of a part whose ids are of no account.
std::vector<LinkTrio> matchLinks(const LinkLists& lists);

/// The same for relationships that the part's content may name by their ids.
std::vector<LinkTrio> matchById(const LinkLists& lists);

/// All relationships of a part; none of no part.
std::vector<const Link*> linksOf(const Node* node);

bool isPicture(const Link& link);

/// Whether a part holds properties: as CoreProperties or MoreProperties.
Role propertiesRole(const std::u16string& contentType);

}  // namespace flowbook::kit
