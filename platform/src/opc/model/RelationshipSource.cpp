#include "opc/model/RelationshipSource.hpp"

#include "opc/model/PackageStore.hpp"

#include <algorithm>
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
    auto records = store().relationships().of(source_).all();
    const auto isExcluded = [=](const auto& record) { return !isListed(record->mode, exclude); };
    records.erase(std::remove_if(records.begin(), records.end(), isExcluded), records.end());
    return handlesOn(std::move(records));
}

std::vector<Relationship> RelationshipSource::getRelationshipsByType(const std::u16string& type) const {
    return handlesOn(store().relationships().of(source_).ofType(type));
}

Relationship RelationshipSource::createInternalRelationship(const std::u16string& type, const URI& target,
                                                            const std::u16string& id) {
    return Relationship(
        store().relationshipsToChange().add(source_, {nullptr, id, type, target.toString(), TargetMode::Internal}));
}

Relationship RelationshipSource::createExternalRelationship(const std::u16string& type, const std::u16string& target,
                                                            const std::u16string& id) {
    return Relationship(
        store().relationshipsToChange().add(source_, {nullptr, id, type, target, TargetMode::External}));
}

void RelationshipSource::deleteRelationship(const std::u16string& id) {
    store().relationshipsToChange().remove(source_, id);
}

void RelationshipSource::deleteRelationship(const Relationship& relationship) {
    store().relationshipsToChange().remove(source_, relationship.record());
}

void RelationshipSource::deleteRelationshipsByType(const std::u16string& type) {
    store().relationshipsToChange().removeByType(source_, type);
}

}  // namespace opc::model
