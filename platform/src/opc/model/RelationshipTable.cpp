#include "opc/model/RelationshipTable.hpp"

#include "fl/Ascii.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/names/RelationshipsName.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <algorithm>
#include <utility>

namespace opc::model::detail {
namespace {

/// What keeps a relationship from being created; null when nothing does.
const char* faultOf(const RelationshipRecord& record) {
    if (!record.id.empty() && !isNCName(record.id)) {
        return "the id is no NCName";
    }
    if (record.type.empty() || !toXmlText(record.type)) {
        return "the type is empty or holds characters that XML does not permit";
    }
    return toXmlText(record.target) ? nullptr : "the target holds characters that XML does not permit";
}

/// The text mostly is the usual one.
bool isRelationshipsType(const DeclaredType& type) {
    return type.text() == kRelationshipsType || type.get() == relationshipsType();
}

std::string_view nameOf(const PartState* source) {
    return source == nullptr ? kPackageSource : std::string_view(source->name.ascii());
}

}  // namespace

bool RelationshipTable::isChanged() const {
    const auto& parts = parts_.all();
    return package_.changed ||
           std::any_of(parts.begin(), parts.end(), [](const auto& each) { return each.second->relationships.changed; });
}

RelationshipList::RecordPtr RelationshipTable::add(PartState* source, RelationshipRecord record) {
    SourceState& state = load(source);
    const auto refuse = [&](ErrorKind kind, const char* reason) {
        throw Exception(kind, container_.where(nameOf(source)) + ": the relationship " + shown(record.id) +
                                  " cannot be created: " + reason);
    };
    if (const char* fault = faultOf(record)) {
        refuse(ErrorKind::Misuse, fault);
    }
    if (state.list->isTaken(record.id)) {
        refuse(ErrorKind::Conflict, "the id is taken");
    }
    RelationshipList::RecordPtr added = state.list->add(std::move(record));
    state.changed = true;
    return added;
}

void RelationshipTable::remove(PartState* source, const std::u16string& id) {
    noteRemoval(load(source).list->remove(id), source, id);
}

void RelationshipTable::remove(PartState* source, const RelationshipRecord& record) {
    noteRemoval(load(source).list->remove(record), source, record.id);
}

void RelationshipTable::noteRemoval(bool removed, PartState* source, const std::u16string& id) {
    if (!removed) {
        throw Exception(ErrorKind::NotFound,
                        container_.where(nameOf(source)) + ": there is no relationship " + shown(id));
    }
    load(source).changed = true;
}

void RelationshipTable::removeByType(PartState* source, const std::u16string& type) {
    SourceState& state = load(source);
    if (state.list->removeByType(type)) {
        state.changed = true;
    }
}

SourceState& RelationshipTable::load(PartState* source) {
    if (source == nullptr) {
        return loaded(package_, kPackageSource);
    }
    PartState& part = parts_.current(*source);
    return loaded(part.relationships, part.name.ascii());
}

SourceState& RelationshipTable::loaded(SourceState& state, std::string_view sourceName) const {
    if (!state.list) {
        state.list = read(sourceName);
    }
    return state;
}

std::unique_ptr<RelationshipList> RelationshipTable::read(std::string_view sourceName) const {
    auto list = std::make_unique<RelationshipList>(container_.name(), sourceName);
    const std::string name = relationshipsNameOf(sourceName);
    const Entries entries = parts_.otherEntries(name);
    if (!entries.empty()) {
        const ContentTypes::Pointer type = parts_.contentTypes().find(fl::ascii::fold(name));
        if (!type || !isRelationshipsType(*type)) {
            throw Exception(ErrorKind::Damaged,
                            container_.where(name) + ": it has not the content type of relationships (M1.30)");
        }
        list->parse(container_.readXml(entries, name), [&] { return container_.where(name); });
    }
    return list;
}

}  // namespace opc::model::detail
