#include "opc/model/RelationshipTarget.hpp"

#include "opc/Exception.hpp"

namespace opc::model::detail {

std::optional<PartName> internalTarget(const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External) {
        return std::nullopt;
    }
    try {
        return PartName(relationship.getTargetURI());
    } catch (const Exception&) {
        return std::nullopt;
    }
}

}  // namespace opc::model::detail
