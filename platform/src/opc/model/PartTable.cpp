#include "opc/model/PartTable.hpp"

#include "fl/Ascii.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PartNotFound.hpp"
#include "opc/model/RelationshipsName.hpp"
#include "opc/names/MessageText.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace opc::model::detail {

using fl::ascii::fold;
using interfaces::OpenMode;

// ---- from the container

void PartTable::read() {
    const auto& entries = container_.physical().entries();
    dropped_.assign(entries.size(), false);
    const std::vector<LogicalEntry> logical = logicalEntries(entries, order_);
    readContentTypes(logical);
    for (const LogicalEntry& entry : logical) {
        sortIn("/" + std::string(entry.name), entry.entries);
    }
}

void PartTable::readContentTypes(const std::vector<LogicalEntry>& entries) {
    constexpr std::string_view name = ContentTypes::kName;
    const auto found = std::find_if(entries.begin(), entries.end(), [folded = fold(name)](const LogicalEntry& entry) {
        return entry.name.size() == folded.size() - 1 && "/" + fold(entry.name) == folded;
    });
    if (found == entries.end()) {
        throw Exception(ErrorKind::Damaged, container_.where(name) + ": it is missing, so this is no package");
    }
    contentTypes_.parse(container_.readXml(found->entries, name), [&] { return container_.where(name); });
}

void PartTable::sortIn(const std::string& entryName, const Entries& entries) {
    const auto refuse = [&](const char* reason) {
        throw Exception(ErrorKind::Damaged, container_.where(entryName) + reason);
    };
    std::optional<PartName> name = PartName::parse(entryName);
    std::string folded = name ? name->folded() : fold(entryName);
    const NameIndex::Place place = index_.placeOf(folded);
    if (index_.find(place, folded) != nullptr) {
        refuse(": another one has an equivalent name (M1.12)");
    }
    ContentTypes::Pointer type = name ? contentTypes_.find(folded) : nullptr;
    if (type && index_.derives(place, folded)) {
        refuse(": its name and another part's derive one from the other (M1.11)");
    }
    if (!type || isRelationshipsName(folded)) {
        index_.insert(NameIndex::prepare(type != nullptr, std::move(folded), entries));
        return;
    }
    container_.refuseLongerName(name->ascii());
    PartState& part = parts_.try_emplace(parts_.end(), nextPlace_, *std::move(name), nextPlace_)->second;
    ++nextPlace_;
    part.type = std::move(type);
    part.entries = entries;
    index_.insert(place, NameIndex::prepare(part, part.name.folded()));
}

Entries PartTable::otherEntries(std::string_view name) const {
    const NameIndex::Meaning* meaning = index_.find(fold(name));
    return meaning == nullptr ? Entries() : meaning->entries;
}

// ---- parts

bool PartTable::isChanged() const {
    return changed_ || contentTypes_.isChanged() ||
           std::any_of(parts_.begin(), parts_.end(), [](const auto& each) { return each.second.pending != nullptr; });
}

const PartState* PartTable::find(std::string_view folded) const noexcept {
    const NameIndex::Meaning* meaning = index_.find(folded);
    return meaning == nullptr ? nullptr : meaning->part;
}

PartState* PartTable::found(std::string_view folded) const {
    const NameIndex::Meaning* meaning = index_.find(folded);
    if (meaning == nullptr || meaning->part == nullptr) {
        throw PartNotFound(container_.where() + ": there is no part " + shown(folded));
    }
    return meaning->part;
}

/// What may fail comes first, so that a failure leaves everything as it was. Many parts of one kind, as images are,
/// need one default for their extension, not an override each. In a file that exists a new default could make parts of
/// entries that are none, and parts with the extension "xml" are of all kinds.
void PartTable::create(const PartName& name, const ContentType& type, const interfaces::IPhysicalPartInfo& info,
                       OpenMode mode) {
    refuseTaken(name);
    const std::string leftBehind = fold(relationshipsNameOf(name.ascii()));
    Parts added;
    PartState& part = added.try_emplace(nextPlace_, name, nextPlace_).first->second;
    part.pending = std::make_shared<fl::Bytes>();
    part.compression = info.getCompressionType();
    part.sizeHint = info.getSizeHint();
    NameIndex::Node node = NameIndex::prepare(part, part.name.folded());
    const bool byDefault = mode == OpenMode::Create && !ContentTypes::hasMixedExtension(name);
    part.type = byDefault ? contentTypes_.assignByDefault(name, type) : contentTypes_.assign(name, type);
    parts_.insert(added.extract(added.begin()));
    index_.insert(std::move(node));
    dropRelationships(leftBehind);
    ++nextPlace_;
    changed_ = true;
}

void PartTable::refuseTaken(const PartName& name) const {
    const auto refuse = [&](ErrorKind kind, const char* reason) {
        throw Exception(kind, container_.where(name.ascii()) + ": it cannot be created: " + reason);
    };
    container_.refuseLongerName(name.ascii());
    if (isKeptForRelationships(name.folded())) {
        refuse(ErrorKind::Misuse, "the name is kept for relationships");
    }
    const NameIndex::Place place = index_.placeOf(name.folded());
    if (const NameIndex::Meaning* taken = index_.find(place, name.folded())) {
        refuse(ErrorKind::Conflict, taken->part != nullptr ? "there is a part of that name"
                                                           : "the file has an entry of that name that is no part");
    }
    if (index_.derives(place, name.folded())) {
        refuse(ErrorKind::Misuse, "its name and another part's derive one from the other (M1.11)");
    }
}

void PartTable::remove(std::string_view folded) {
    const PartState& part = get(folded);
    const std::string relationships = fold(relationshipsNameOf(part.name.ascii()));
    drop(part.entries);
    dropRelationships(relationships);
    contentTypes_.removeOverride(part.name.folded());
    index_.erase(part.name.folded());
    parts_.erase(part.place);
    changed_ = true;
}

void PartTable::drop(const Entries& entries) noexcept {
    for (const std::size_t entry : entries) {
        dropped_[entry] = true;
    }
}

void PartTable::dropRelationships(const std::string& foldedName) noexcept {
    if (const NameIndex::Meaning* meaning = index_.find(foldedName)) {
        drop(meaning->entries);
        contentTypes_.removeOverride(foldedName);
        index_.erase(foldedName);
    }
}

// ---- content

std::uint64_t PartTable::size(std::string_view folded) const {
    const PartState& part = get(folded);
    return part.pending ? part.pending->size() : container_.size(part.entries);
}

std::uint64_t PartTable::storedSize(std::string_view folded) const {
    const PartState& part = get(folded);
    return part.pending ? 0 : container_.storedSize(part.entries);
}

fl::Bytes PartTable::storedContent(std::string_view folded) const {
    const PartState& part = get(folded);
    return container_.read(part.entries, part.name.ascii());
}

std::shared_ptr<fl::Bytes> PartTable::replaceContent(std::string_view folded, std::shared_ptr<fl::Bytes> content) {
    PartState& part = get(folded);
    content->reserve(static_cast<std::size_t>(std::min<std::uint64_t>(part.sizeHint, container_.limits().maxPartSize)));
    return std::exchange(part.pending, std::move(content));
}

void PartTable::restoreContent(std::string_view folded, const std::shared_ptr<fl::Bytes>& content,
                               std::shared_ptr<fl::Bytes> former) noexcept {
    const NameIndex::Meaning* meaning = index_.find(folded);
    if (meaning != nullptr && meaning->part != nullptr && meaning->part->pending == content) {
        meaning->part->pending = std::move(former);
    }
}

}  // namespace opc::model::detail
