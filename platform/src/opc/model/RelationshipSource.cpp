// Relationships as hosts see them: handles on records that never change, so that a handle stays good while the list is
// edited.
#include "opc/model/RelationshipSource.hpp"

#include "opc/model/PackageStore.hpp"

#include <algorithm>
#include <utility>

namespace opc::model {
namespace {

bool isListed(TargetMode mode, ExcludeMode exclude) {
    return exclude == ExcludeMode::None || (mode == TargetMode::External) != (exclude == ExcludeMode::External);
}

template <class IsWanted>
std::vector<Relationship> handles(const detail::RelationshipList& list, const IsWanted& isWanted) {
    std::vector<Relationship> handles;
    for (const auto& [number, record] : list.records()) {
        if (isWanted(*record)) {
            handles.emplace_back(record);
        }
    }
    return handles;
}

}  // namespace

std::vector<Relationship> RelationshipSource::getRelationships(ExcludeMode exclude) const {
    return handles(store().relationships(partState()),
                   [=](const auto& record) { return isListed(record.mode, exclude); });
}

std::vector<Relationship> RelationshipSource::getRelationshipsByType(const std::u16string& type) const {
    return handles(store().relationships(partState()), [&](const auto& record) { return record.type == type; });
}

Relationship RelationshipSource::createInternalRelationship(const std::u16string& type, const URI& target,
                                                            const std::u16string& id) {
    return carryRelationship(type, target.toString(), TargetMode::Internal, id);
}

Relationship RelationshipSource::createExternalRelationship(const std::u16string& type, const std::u16string& target,
                                                            const std::u16string& id) {
    return carryRelationship(type, target, TargetMode::External, id);
}

Relationship RelationshipSource::carryRelationship(const std::u16string& type, const std::u16string& target,
                                                   TargetMode mode, const std::u16string& id) {
    return Relationship(store().relationshipsToChange(partState()).add({nullptr, id, type, target, mode}));
}

void RelationshipSource::deleteRelationship(const std::u16string& id) {
    store().relationshipsToChange(partState()).remove(id);
}

void RelationshipSource::deleteRelationship(const Relationship& relationship) {
    store().relationshipsToChange(partState()).remove(relationship.record());
}

void RelationshipSource::deleteRelationshipsByType(const std::u16string& type) {
    store().relationshipsToChange(partState()).removeByType(type);
}

}  // namespace opc::model
