#pragma once

#include "opc/model/PartName.hpp"
#include "opc/model/Relationship.hpp"

#include <optional>

namespace opc::model::detail {

/// The part that an internal relationship names, whether there is such a part or not; nothing for an
/// external one and for a target that is no part name.
std::optional<PartName> internalTarget(const Relationship& relationship);

}  // namespace opc::model::detail
