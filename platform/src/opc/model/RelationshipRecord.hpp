#pragma once

#include "opc/model/TargetMode.hpp"

#include <memory>
#include <string>

namespace opc::model::detail {

/// What the relationships of one source have in common.
struct RelationshipOrigin {
    std::string packageName;  ///< the file, for messages
    std::string sourceName;   ///< the source part's name; "/" for the package
};

/// Never changes once it is in a list.
struct RelationshipRecord {
    std::shared_ptr<const RelationshipOrigin> origin;
    std::u16string id;
    std::u16string type;
    std::u16string target;
    TargetMode mode = TargetMode::Internal;
    bool isIdChosen = false;  ///< by this library, for a relationship that is not in the file yet
};

}  // namespace opc::model::detail
