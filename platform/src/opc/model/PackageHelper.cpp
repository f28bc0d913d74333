#include "opc/model/PackageHelper.hpp"

#include "opc/model/RelationshipTarget.hpp"

namespace opc::model {
namespace {

void deleteWithTargets(Package& package, RelationshipSource& source, const std::u16string& type, const PartName* kept) {
    const std::vector<Relationship> relationships = source.getRelationshipsByType(type);
    source.deleteRelationshipsByType(type);
    for (const Relationship& relationship : relationships) {
        const auto target = detail::internalTarget(relationship);
        if (target && package.hasPart(*target) && !(kept != nullptr && *target == *kept)) {
            package.deletePart(*target);
        }
    }
}

}  // namespace

void PackageHelper::deleteRelationshipsAndTargets(Package& package, const std::u16string& type) {
    deleteWithTargets(package, package, type, nullptr);
}

void PackageHelper::deleteRelationshipsAndTargets(Package& package, const Part& source, const std::u16string& type) {
    Part handle = source;
    deleteWithTargets(package, handle, type, &source.getName());
}

}  // namespace opc::model
