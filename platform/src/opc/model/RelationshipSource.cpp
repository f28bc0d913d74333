#include "opc/model/RelationshipSource.hpp"

#include "opc/model/PackageStore.hpp"

#include <utility>

namespace opc::model {
namespace {

std::vector<Relationship> handlesOn(std::vector<detail::RelationshipList::RecordPtr> records) {
    std::vector<Relationship> handles;
    handles.reserve(records.size());
    for (auto& record : records) {
        handles.emplace_back(std::move(record));
    }
    return handles;
}

bool isListed(TargetMode mode, ExcludeMode exclude) {
    return exclude == ExcludeMode::None || (mode == TargetMode::External) != (exclude == ExcludeMode::External);
}

}  // namespace

RelationshipSource::RelationshipSource(std::shared_ptr<detail::PackageStore> store, std::string source)
    : store_(std::move(store)), source_(std::move(source)) {}

std::vector<Relationship> RelationshipSource::getRelationships(ExcludeMode exclude) const {
    return handlesOn(store().relationships(source_).select(
        [=](const detail::RelationshipRecord& record) { return isListed(record.mode, exclude); }));
}

std::vector<Relationship> RelationshipSource::getRelationshipsByType(const std::u16string& type) const {
    return handlesOn(store().relationships(source_).select(
        [&](const detail::RelationshipRecord& record) { return record.type == type; }));
}

Relationship RelationshipSource::createInternalRelationship(const std::u16string& type, const URI& target,
                                                            const std::u16string& id) {
    return Relationship(store().addRelationship(source_, {nullptr, id, type, target.verbatim(), TargetMode::Internal}));
}

Relationship RelationshipSource::createExternalRelationship(const std::u16string& type, const std::u16string& target,
                                                            const std::u16string& id) {
    return Relationship(store().addRelationship(source_, {nullptr, id, type, target, TargetMode::External}));
}

void RelationshipSource::deleteRelationship(const std::u16string& id) { store().removeRelationship(source_, id); }

void RelationshipSource::deleteRelationshipsByType(const std::u16string& type) {
    store().removeRelationshipsByType(source_, type);
}

}  // namespace opc::model
