// The parts of a package: which entries are parts, what they hold, and what was changed. Each changing function first
// makes everything that needs memory or may be refused, and then changes the tables by steps that cannot fail, so that
// a failure leaves all of them as they were.
#include "opc/model/PartTable.hpp"

#include "fl/Ascii.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/model/PartNotFound.hpp"
#include "opc/names/RelationshipsName.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace opc::model::detail {

using fl::ascii::fold;
using interfaces::OpenMode;

namespace {

/// The place of a name in a set of bits.
std::size_t slotOf(std::string_view folded) { return std::hash<std::string_view>()(folded) % 1024; }

}  // namespace

// ---- from the container

void PartTable::read() {
    const auto& entries = container_.physical().entries();
    dropped_.assign(entries.size(), false);
    const std::vector<LogicalEntry> logical = logicalEntries(entries, order_);
    readContentTypes(logical);
    std::string name = "/";
    for (const LogicalEntry& entry : logical) {
        name.resize(1);
        classify(name.append(entry.name), entry.entries);
    }
}

void PartTable::readContentTypes(const std::vector<LogicalEntry>& entries) {
    constexpr std::string_view name = ContentTypes::kName;
    const auto found = std::find_if(entries.begin(), entries.end(), [](const LogicalEntry& entry) {
        constexpr std::string_view folded = ContentTypes::kFoldedName.substr(1);
        return std::equal(entry.name.begin(), entry.name.end(), folded.begin(), folded.end(),
                          [](char c, char lower) { return fl::ascii::fold(c) == lower; });
    });
    if (found == entries.end()) {
        throw Exception(ErrorKind::Damaged, container_.where(name) + ": it is missing, so this is no package", name);
    }
    const fl::Bytes xml = container_.readXml(found->entries, name);
    inPart(name, [&] { contentTypes_.parse(xml, [&] { return container_.where(name); }); });
}

/// Sorts one name into the index. It is a part if it is a part name and has a content type (M1.2); all else, and the
/// relationships parts, which are reached through their sources, is kept to be carried over.
void PartTable::classify(const std::string& entryName, const Entries& entries) {
    const auto refuse = [&](const char* reason) {
        throw Exception(ErrorKind::Damaged, container_.where(entryName) + reason, entryName);
    };
    std::optional<PartName> name = PartName::parse(entryName);
    std::string own = name ? std::string() : fold(entryName);
    const std::string_view folded = name ? std::string_view(name->folded()) : own;
    const NameIndex::Place place = index_.placeOf(folded);
    if (index_.find(place, folded) != nullptr) {
        refuse(": another one has an equivalent name (M1.12)");
    }
    ContentTypes::Pointer type = name ? contentTypes_.find(folded) : nullptr;
    if (type && index_.derives(place, folded)) {
        refuse(": its name and another part's derive one from the other (M1.11)");
    }
    if (!type || isRelationshipsName(folded)) {
        otherNames_.set(slotOf(folded));
        index_.insert(NameIndex::prepare(type != nullptr, name ? name->folded() : std::move(own), entries));
        return;
    }
    container_.refuseLongerName(name->ascii());
    auto part = std::make_shared<PartState>(*std::move(name), nextPlace_);
    part->type = std::move(type);
    part->entries = entries;
    parts_.reserveOne();
    index_.insert(place, NameIndex::prepare(part));
    parts_.add(nextPlace_, std::move(part));
    ++nextPlace_;
}

/// Most parts are asked for relationships and have none. The bits spare them the way through the index; a file that
/// chooses its names to collide only takes that way.
Entries PartTable::otherEntries(std::string_view folded) const {
    if (!otherNames_[slotOf(folded)]) {
        return {};
    }
    const NameIndex::Meaning* meaning = index_.find(folded);
    return meaning == nullptr ? Entries() : meaning->entries;
}

// ---- parts

bool PartTable::isChanged() const {
    return changed_ || contentTypes_.isChanged() ||
           std::any_of(parts_.begin(), parts_.end(), [](const auto& each) { return each.pointer->pending != nullptr; });
}

const PartState* PartTable::find(std::string_view folded) const noexcept {
    const NameIndex::Meaning* meaning = index_.find(folded);
    return meaning == nullptr ? nullptr : meaning->part.get();
}

/// Tries the part first that follows the last one: parts are mostly asked for in their order.
const std::shared_ptr<PartState>& PartTable::shared(const PartName& name) const {
    if (const auto* const likely = parts_.at(likelyNext_); likely != nullptr && (*likely)->name == name) {
        ++likelyNext_;
        return *likely;
    }
    const NameIndex::Meaning* meaning = index_.find(name.folded());
    if (meaning == nullptr || meaning->part == nullptr) {
        throw PartNotFound(container_.where() + ": there is no part " + shown(name.ascii()), name.ascii());
    }
    likelyNext_ = meaning->part->place + 1;
    return meaning->part;
}

/// Steps that may fail come first, so that a failure leaves everything as it was. In a new file many parts of one kind,
/// such as images, share one default for their extension instead of an override each. In a file that exists, a new
/// default could turn entries into parts that are none; and parts with the extension "xml" are of many types in any
/// file.
const std::shared_ptr<PartState>& PartTable::create(const PartName& name, const ContentType& type,
                                                    const interfaces::IPhysicalPartInfo& info, OpenMode mode) {
    refuseTaken(name);
    const std::string leftBehind = fold(relationshipsNameOf(name.ascii()));
    const auto part = std::make_shared<PartState>(name, nextPlace_);
    part->pending = std::make_shared<fl::Bytes>();
    part->compression = info.getCompressionType();
    part->sizeHint = info.getSizeHint();
    parts_.reserveOne();
    NameIndex::Node node = NameIndex::prepare(part);
    const bool byDefault = mode == OpenMode::Create && !ContentTypes::hasMixedExtension(name);
    part->type = byDefault ? contentTypes_.assignByDefault(name, type) : contentTypes_.assign(name, type);
    const std::shared_ptr<PartState>& added = parts_.add(nextPlace_, part);
    index_.insert(std::move(node));
    dropRelationships(leftBehind);
    ++nextPlace_;
    changed_ = true;
    return added;
}

void PartTable::refuseTaken(const PartName& name) const {
    const auto refuse = [&](ErrorKind kind, const char* reason) {
        throw Exception(kind, container_.where(name.ascii()) + ": it cannot be created: " + reason, name.ascii());
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

/// Marks the state as deleted rather than destroying it: handles still refer to it, and turn to a part that is later
/// created under the same name.
void PartTable::remove(const PartName& name) {
    PartState& part = *shared(name);
    const std::string relationships = fold(relationshipsNameOf(part.name.ascii()));
    drop(part.entries);
    dropRelationships(relationships);
    contentTypes_.removeOverride(part.name.folded());
    part.isDeleted = true;
    index_.erase(part.name.folded());
    parts_.erase(part.place);
    changed_ = true;
}

void PartTable::drop(const Entries& entries) noexcept {
    for (const std::size_t entry : entries) {
        dropped_[entry] = true;
    }
}

/// Drops the relationships part of a source that is gone: left behind, it would belong to a part that takes the name
/// later.
void PartTable::dropRelationships(const std::string& foldedName) noexcept {
    if (const NameIndex::Meaning* meaning = index_.find(foldedName)) {
        drop(meaning->entries);
        contentTypes_.removeOverride(foldedName);
        index_.erase(foldedName);
    }
}

// ---- content

std::uint64_t PartTable::size(const PartState& part) const {
    const PartState& state = current(part);
    return state.pending ? state.pending->size() : container_.size(state.entries);
}

std::uint64_t PartTable::storedSize(const PartState& part) const {
    const PartState& state = current(part);
    return state.pending ? 0 : container_.storedSize(state.entries);
}

fl::Bytes PartTable::storedContent(const PartState& part) const {
    const PartState& state = current(part);
    return container_.read(state.entries, state.name.ascii());
}

/// Reserves memory for the size that the caller expects, but never for more than a part may have.
std::shared_ptr<fl::Bytes> PartTable::replaceContent(PartState& part, std::shared_ptr<fl::Bytes> content) {
    PartState& state = current(part);
    content->reserve(
        static_cast<std::size_t>(std::min<std::uint64_t>(state.sizeHint, container_.limits().maxPartSize)));
    return std::exchange(state.pending, std::move(content));
}

void PartTable::restoreContent(PartState& part, const std::shared_ptr<fl::Bytes>& content,
                               std::shared_ptr<fl::Bytes> former) noexcept {
    if (part.pending == content) {
        part.pending = std::move(former);
    }
}

}  // namespace opc::model::detail
