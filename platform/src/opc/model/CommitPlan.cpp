#include "opc/model/CommitPlan.hpp"

#include "opc/model/Relationship.hpp"
#include "opc/model/RelationshipTarget.hpp"
#include "opc/names/Ascii.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace opc::model::detail {
namespace {

constexpr std::size_t kNoPart = static_cast<std::size_t>(-1);
constexpr char kPackageSource[] = "/";

/// Whether a relationship of the package leads to what describes it (properties, a thumbnail, signatures) and not
/// to what it is about.
bool isDescriptive(const RelationshipRecord& record) {
    constexpr std::u16string_view kPrefixes[] = {u"http://schemas.openxmlformats.org/package/",
                                                 u"http://schemas.pellarion.com/package/"};
    return std::any_of(std::begin(kPrefixes), std::end(kPrefixes),
                       [&](std::u16string_view prefix) { return record.type.compare(0, prefix.size(), prefix) == 0; });
}

}  // namespace

CommitPlan::CommitPlan(PackageStore& store)
    : store_(store), entryDone_(store.dropped_), partDone_(store.parts_.size()) {
    for (const auto& part : store_.parts_) {
        if (part) {
            assignRelationshipsType(part->relationships, part->name);
        }
    }
    assignRelationshipsType(store_.packageRelationships_, kPackageSource);
    addContentTypes();
    addPackageRelationships();
    addLeadingPart();
    addOldEntries();
    for (std::size_t position = 0; position != partDone_.size(); ++position) {
        addPart(position);
    }
}

/// Changed relationships leave their old place, and must have or lose their content type.
void CommitPlan::assignRelationshipsType(const SourceState& state, const std::string& sourceName) {
    if (!state.changed) {
        return;
    }
    const std::string name = relationshipsNameOf(sourceName);
    markDone(oldEntries(name));
    if (state.list->isEmpty()) {
        store_.contentTypes_.removeOverride(toLower(name));
    } else {
        store_.contentTypes_.assignByDefault(PartName(std::u16string(name.begin(), name.end())), relationshipsType());
    }
}

CommitPlan::Entries CommitPlan::oldEntries(const std::string& name) const {
    const auto found = store_.others_.find(toLower(name));
    return found == store_.others_.end() ? Entries() : found->second;
}

void CommitPlan::addContentTypes() {
    const std::string name = "/" + std::string(ContentTypes::kEntryName);
    const Entries entries = oldEntries(name);
    if (!entries.empty() && !store_.contentTypes_.isChanged()) {
        carry(entries);
        return;
    }
    markDone(entries);
    addXml(name, store_.contentTypes_.toXml());
}

void CommitPlan::addPackageRelationships() {
    const SourceState& state = store_.packageRelationships_;
    if (state.changed) {
        addChangedRelationships(state, kPackageSource);
    } else {
        carry(oldEntries(relationshipsNameOf(kPackageSource)));
    }
}

void CommitPlan::addLeadingPart() {
    const auto records =
        store_.relationships({}).select([](const RelationshipRecord& record) { return !isDescriptive(record); });
    for (const auto& record : records) {
        const auto target = internalTarget(Relationship(record));
        const auto found = target ? store_.partPositions_.find(target->folded()) : store_.partPositions_.end();
        if (found != store_.partPositions_.end()) {
            addPart(found->second);
            return;
        }
    }
}

void CommitPlan::addOldEntries() {
    std::vector<std::size_t> owners(entryDone_.size(), kNoPart);
    for (std::size_t position = 0; position != partDone_.size(); ++position) {
        for (const std::size_t entry : store_.parts_[position] ? store_.parts_[position]->entries : Entries()) {
            owners[entry] = position;
        }
    }
    for (std::size_t entry = 0; entry != owners.size(); ++entry) {
        if (owners[entry] != kNoPart) {
            addPart(owners[entry]);
        } else if (!entryDone_[entry]) {
            carry({entry});
        }
    }
}

void CommitPlan::addPart(std::size_t position) {
    const auto& part = store_.parts_[position];
    if (!part || partDone_[position]) {
        return;
    }
    partDone_[position] = true;
    if (part->pending) {
        markDone(part->entries);
        add(*part->pending, part->name, part->compression);
    } else {
        carry(part->entries);
    }
    addChangedRelationships(part->relationships, part->name);
}

void CommitPlan::addChangedRelationships(const SourceState& state, const std::string& sourceName) {
    if (state.changed && !state.list->isEmpty()) {
        addXml(relationshipsNameOf(sourceName), state.list->toXml());
    }
}

/// What is too large to be read again is not written.
void CommitPlan::addXml(const std::string& name, Bytes xml) {
    store_.refuseLargerXml(xml.size(), name);
    xml_.push_back(std::move(xml));
    add(xml_.back(), name, interfaces::CompressionType::Normal);
}

void CommitPlan::add(const Bytes& content, const std::string& name, interfaces::CompressionType compression) {
    interfaces::PlannedEntry entry;
    entry.content = &content;
    entry.name = name.substr(1);
    entry.compression = compression;
    entries_.push_back(std::move(entry));
}

void CommitPlan::carry(const Entries& entries) {
    markDone(entries);
    for (const std::size_t old : entries) {
        interfaces::PlannedEntry entry;
        entry.carried = old;
        entries_.push_back(std::move(entry));
    }
}

void CommitPlan::markDone(const Entries& entries) {
    for (const std::size_t entry : entries) {
        entryDone_[entry] = true;
    }
}

}  // namespace opc::model::detail
