// Reads the relationships of a source when they are first asked for: most parts of a package are never asked.
#include "opc/model/RelationshipTable.hpp"

#include "fl/Ascii.hpp"
#include "opc/Exception.hpp"
#include "opc/names/RelationshipsName.hpp"

#include <algorithm>
#include <utility>

namespace opc::model::detail {
namespace {

/// Compares the texts first, as the usual one is nearly always there; other spellings of the type are compared as
/// types.
bool isRelationshipsType(const DeclaredType& type) {
    return type.text() == kRelationshipsType || type.get() == relationshipsType();
}

/// Whether a list that may not have been read yet was changed.
bool isListChanged(const std::unique_ptr<RelationshipList>& list) { return list && list->isChanged(); }

}  // namespace

bool RelationshipTable::isChanged() const {
    const auto& parts = parts_.all();
    return isListChanged(package_) || std::any_of(parts.begin(), parts.end(), [](const auto& each) {
               return isListChanged(each.pointer->relationships);
           });
}

RelationshipList& RelationshipTable::of(PartState* source) {
    PartState* const part = source == nullptr ? nullptr : &parts_.current(*source);
    std::unique_ptr<RelationshipList>& list = part == nullptr ? package_ : part->relationships;
    if (!list) {
        list = part == nullptr ? read(kPackageSource, kPackageSource) : read(part->name.ascii(), part->name.folded());
    }
    return *list;
}

std::unique_ptr<RelationshipList> RelationshipTable::read(std::string_view sourceName,
                                                          std::string_view foldedSource) const {
    auto list = std::make_unique<RelationshipList>(container_.name(), sourceName);
    const std::string folded = relationshipsNameOf(foldedSource);
    const Entries entries = parts_.otherEntries(folded);
    if (!entries.empty()) {
        const std::string name = relationshipsNameOf(sourceName);
        const ContentTypes::Pointer type = parts_.contentTypes().find(folded);
        if (!type || !isRelationshipsType(*type)) {
            throw Exception(ErrorKind::Damaged,
                            container_.where(name) + ": it has not the content type of relationships (M1.30)", name);
        }
        const fl::Bytes xml = container_.readXml(entries, name);
        inPart(name, [&] { list->parse(xml, [&] { return container_.where(name); }); });
    }
    return list;
}

}  // namespace opc::model::detail
