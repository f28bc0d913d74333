#pragma once

#include "opc/model/PartName.hpp"
#include "opc/model/Relationship.hpp"
#include "opc/model/TargetMode.hpp"
#include "opc/model/URI.hpp"

#include <memory>
#include <optional>
#include <string>

namespace opc::model::detail {

/// What all relationships of one source share.
struct RelationshipOrigin {
    std::string packageName;  ///< the file, for messages
    std::string sourceName;   ///< the source part's name; "/" for the package
    URI base;                 ///< which targets are resolved against: the same as a reference
};

/// What all handles on a relationship share. A record never changes; a change puts another record in its place.
struct RelationshipRecord {
    std::shared_ptr<const RelationshipOrigin> origin;
    std::u16string id;
    std::u16string type;
    std::u16string target;
    TargetMode mode = TargetMode::Internal;
    bool isIdChosen = false;  ///< by this library, for a relationship that is not in the file yet
    std::size_t number = 0;   ///< identifies it within its origin, also when it gets another id
};

/// The part that an internal relationship names, whether there is such a part or not; nothing for an
/// external one and for a target that is no part name.
std::optional<PartName> internalTarget(const Relationship& relationship);

}  // namespace opc::model::detail
