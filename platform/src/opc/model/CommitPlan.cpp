// Decides what a changed package is written as, and writes nothing itself: a plan that cannot be made leaves everything
// as it was. Every entry of the old container ends in one of three ways: it is carried over, new content takes its
// place, or it is dropped. entryDone_ records which entries are decided, so that none is written twice or forgotten.
#include "opc/model/CommitPlan.hpp"

#include "fl/Ascii.hpp"
#include "opc/model/Relationship.hpp"
#include "opc/names/RelationshipsName.hpp"
#include "opc/relationships/RelationshipRecord.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace opc::model::detail {
namespace {

/// Whether a relationship of the package leads to a description of it (properties, a thumbnail, signatures) rather than
/// to what the package is about.
bool isDescriptive(const RelationshipRecord& record) {
    constexpr std::u16string_view kPrefixes[] = {u"http://schemas.openxmlformats.org/package/",
                                                 u"http://schemas.pellarion.com/package/"};
    return std::any_of(std::begin(kPrefixes), std::end(kPrefixes),
                       [&](std::u16string_view prefix) { return record.type.compare(0, prefix.size(), prefix) == 0; });
}

class Planner {
public:
    Planner(const Container& container, const PartTable& parts, const RelationshipTable& relationships)
        : container_(container),
          parts_(parts),
          package_(relationships.ofPackage()),
          contentTypes_(parts.contentTypes()),
          entryDone_(parts.dropped()) {}

    /// The content types are completed first, as the types of changed relationships parts belong to them, and then
    /// written first, as a reader needs them before all else.
    CommitPlan plan() {
        xmlCompression_ = isAllStored() ? interfaces::CompressionType::None : interfaces::CompressionType::Normal;
        for (const auto& [place, part] : parts_.all()) {
            assignRelationshipsType(part->relationships.get(), part->name.ascii());
        }
        assignRelationshipsType(&package_, kPackageSource);
        addContentTypes();
        addPackageRelationships();
        addLeadingPart();
        addOldEntries();
        for (const auto& [place, part] : parts_.all()) {
            addPart(*part);
        }
        return std::move(plan_);
    }

private:
    bool isAllStored() const;
    void assignRelationshipsType(const RelationshipList* list, std::string_view sourceName);
    void addContentTypes();
    void addPackageRelationships();
    void addLeadingPart();
    void addOldEntries();
    void addPart(const PartState& part);
    void addChangedRelationships(const RelationshipList* list, std::string_view sourceName);
    void addXml(std::string_view name, fl::Bytes xml);
    void add(const fl::Bytes& content, std::string_view name, interfaces::CompressionType compression);
    void carry(const Entries& entries);
    void carry(std::size_t entry);
    void markDone(const Entries& entries);

    const Container& container_;
    const PartTable& parts_;
    const RelationshipList& package_;
    ContentTypes contentTypes_;
    std::vector<bool> entryDone_;
    std::vector<bool> partDone_ = std::vector<bool>(parts_.placeCount());
    CommitPlan plan_;
    interfaces::CompressionType xmlCompression_ = interfaces::CompressionType::Normal;
};

/// Whether all parts are new and are to be stored as they are. Then nothing else in the container is deflated either: a
/// caller who asks for that wants a container in which a version control system finds what stayed the same.
bool Planner::isAllStored() const {
    const auto& all = parts_.all();
    return !all.empty() && std::all_of(all.begin(), all.end(), [](const auto& each) {
        return each.pointer->pending && each.pointer->compression == interfaces::CompressionType::None;
    });
}

/// Gives up the old place of changed relationships. Their part needs a content type (M1.30), or loses it when no
/// relationship is left, as the part is then left out.
void Planner::assignRelationshipsType(const RelationshipList* list, std::string_view sourceName) {
    if (list == nullptr || !list->isChanged()) {
        return;
    }
    const std::string name = relationshipsNameOf(sourceName);
    const std::string folded = fl::ascii::fold(name);
    markDone(parts_.otherEntries(folded));
    if (list->isEmpty()) {
        contentTypes_.removeOverride(folded);
    } else {
        contentTypes_.assignByDefault(*PartName::parse(name), relationshipsType());
    }
}

void Planner::addContentTypes() {
    const Entries entries = parts_.otherEntries(ContentTypes::kFoldedName);
    if (!entries.empty() && !contentTypes_.isChanged()) {
        carry(entries);
        return;
    }
    markDone(entries);
    addXml(ContentTypes::kName, contentTypes_.toXml());
}

void Planner::addPackageRelationships() {
    if (package_.isChanged()) {
        addChangedRelationships(&package_, kPackageSource);
    } else {
        carry(parts_.otherEntries(relationshipsNameOf(kPackageSource)));
    }
}

void Planner::addLeadingPart() {
    for (const auto& [number, record] : package_.records()) {
        const auto target = isDescriptive(*record) ? std::nullopt : internalTarget(Relationship(record));
        const PartState* part = target ? parts_.find(target->folded()) : nullptr;
        if (part != nullptr) {
            addPart(*part);
            return;
        }
    }
}

/// Goes through the old entries in their order, so that the new container differs from the old one as little as the
/// changes require. The first entry of a part brings the whole part, with pieces that lie further back.
void Planner::addOldEntries() {
    std::vector<const PartState*> owners(entryDone_.size());
    for (const auto& [place, part] : parts_.all()) {
        for (const std::size_t entry : part->entries) {
            owners[entry] = part.get();
        }
    }
    for (std::size_t entry = 0; entry != owners.size(); ++entry) {
        if (owners[entry] != nullptr) {
            addPart(*owners[entry]);
        } else if (!entryDone_[entry]) {
            carry(entry);
        }
    }
}

void Planner::addPart(const PartState& part) {
    if (partDone_[part.place]) {
        return;
    }
    partDone_[part.place] = true;
    if (part.pending) {
        markDone(part.entries);
        add(*part.pending, part.name.ascii(), part.compression);
    } else {
        carry(part.entries);
    }
    addChangedRelationships(part.relationships.get(), part.name.ascii());
}

/// Adds a relationships part that was changed. Unchanged ones are old entries, which addOldEntries() carries over.
void Planner::addChangedRelationships(const RelationshipList* list, std::string_view sourceName) {
    if (list != nullptr && list->isChanged() && !list->isEmpty()) {
        addXml(relationshipsNameOf(sourceName), list->toXml());
    }
}

/// Refuses XML that is too large to be read again.
void Planner::addXml(std::string_view name, fl::Bytes xml) {
    container_.refuseLargerXml(xml.size(), name);
    plan_.xml.push_back(std::move(xml));
    add(plan_.xml.back(), name, xmlCompression_);
}

void Planner::add(const fl::Bytes& content, std::string_view name, interfaces::CompressionType compression) {
    interfaces::PlannedEntry entry;
    entry.content = &content;
    entry.name = name.substr(1);
    entry.compression = compression;
    plan_.entries.push_back(std::move(entry));
}

void Planner::carry(const Entries& entries) {
    for (const std::size_t entry : entries) {
        carry(entry);
    }
}

void Planner::carry(std::size_t entry) {
    entryDone_[entry] = true;
    interfaces::PlannedEntry carried;
    carried.carried = entry;
    plan_.entries.push_back(std::move(carried));
}

void Planner::markDone(const Entries& entries) {
    for (const std::size_t entry : entries) {
        entryDone_[entry] = true;
    }
}

}  // namespace

CommitPlan planCommit(const Container& container, const PartTable& parts, const RelationshipTable& relationships) {
    return Planner(container, parts, relationships).plan();
}

}  // namespace opc::model::detail
