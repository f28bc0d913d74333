#include "opc/model/PackageStore.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/model/CommitPlan.hpp"
#include "opc/model/PartNotFound.hpp"
#include "opc/names/Ascii.hpp"
#include "opc/names/MessageText.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <algorithm>
#include <utility>

namespace opc::model::detail {
namespace {

using interfaces::OpenMode;
using interfaces::PhysicalEntry;

constexpr char kPackageSource[] = "/";
constexpr char kRelationshipsFolder[] = "_rels";

/// The last segment of a name, with its slash.
std::string_view lastSegment(std::string_view name) { return name.substr(std::min(name.rfind('/'), name.size())); }

/// What keeps a relationship from being added to a list; null when nothing does.
const char* faultOf(const RelationshipRecord& record, const RelationshipList& list) {
    if (!isNCName(record.id)) {
        return "the id is no NCName";
    }
    if (list.has(record.id)) {
        return "the id is taken";
    }
    if (record.type.empty() || !toXmlText(record.type)) {
        return "the type is empty or holds characters that XML does not permit";
    }
    return toXmlText(record.target) ? nullptr : "the target holds characters that XML does not permit";
}

}  // namespace

bool isRelationshipsName(const std::string& folded) {
    constexpr std::string_view kEnding = ".rels";
    const std::string_view segment = lastSegment(folded);
    const std::string_view folder = std::string_view(folded).substr(0, folded.size() - segment.size());
    return lastSegment(folder).substr(0, 1) == "/" && lastSegment(folder).substr(1) == kRelationshipsFolder &&
           segment.size() > kEnding.size() && segment.substr(segment.size() - kEnding.size()) == kEnding;
}

std::string relationshipsNameOf(const std::string& sourceName) {
    const std::size_t slash = sourceName.rfind('/');
    return sourceName.substr(0, slash + 1) + kRelationshipsFolder + sourceName.substr(slash) + ".rels";
}

// ---- opening and closing

void PackageStore::open(OpenMode mode) {
    physical_->open(mode);
    mode_ = mode;
    open_ = true;
    try {
        if (mode != OpenMode::Create) {
            readIndex();
        }
        relationships(std::string());
    } catch (...) {
        revert();
        throw;
    }
}

void PackageStore::readIndex() {
    dropped_.assign(physical_->entries().size(), false);
    std::vector<LogicalEntry> entries = logicalEntries(physical_->entries());
    parts_.reserve(entries.size());
    readContentTypes(entries);
    for (LogicalEntry& entry : entries) {
        sortIn(std::move(entry));
    }
}

void PackageStore::readContentTypes(const std::vector<LogicalEntry>& entries) {
    const std::string name = "/" + std::string(ContentTypes::kEntryName);
    const auto found = std::find_if(entries.begin(), entries.end(), [folded = fold(name)](const LogicalEntry& entry) {
        return fold(entry.name) == folded;
    });
    if (found == entries.end()) {
        throw Exception(ErrorKind::Damaged, where(name) + ": it is missing, so this is no package");
    }
    contentTypes_.parse(readXml(found->entries, name), where(name));
}

void PackageStore::sortIn(LogicalEntry entry) {
    std::string folded = fold(entry.name);
    if (partPositions_.count(folded) != 0 || others_.count(folded) != 0) {
        throw Exception(ErrorKind::Damaged, where(entry.name) + ": another one has an equivalent name (M1.12)");
    }
    const ContentType* type = PartName::isValid(entry.name) ? contentTypes_.find(folded) : nullptr;
    if (type != nullptr && !names_.insert(folded)) {
        throw Exception(ErrorKind::Damaged,
                        where(entry.name) + ": its name and another part's derive one from the other (M1.11)");
    }
    if (type == nullptr || isRelationshipsName(folded)) {
        others_.emplace(std::move(folded), std::move(entry.entries));
        return;
    }
    PartState part;
    part.name = std::move(entry.name);
    part.type = type;
    part.entries = std::move(entry.entries);
    addPart(std::move(folded), std::move(part));
}

void PackageStore::close(const CommitOptions& options) {
    requireOpen();
    if (!isChanged()) {
        revert();
        return;
    }
    const bool backUp = mode_ == OpenMode::Update && !options.removeBackup();
    const CommitPlan plan(*this);
    const std::u16string backupName = backUp ? physical_->backUp(options.backupExtension()) : std::u16string();
    physical_->commit(plan.entries());
    revert();
    if (backUp && options.backupCreatedFcn()) {
        options.backupCreatedFcn()(backupName);
    }
}

void PackageStore::revert() noexcept {
    if (open_) {
        open_ = false;
        physical_->close();
    }
}

bool PackageStore::isChanged() const {
    const auto isPartChanged = [](const auto& part) { return part && (part->pending || part->relationships.changed); };
    return partsChanged_ || packageRelationships_.changed || contentTypes_.isChanged() ||
           std::any_of(parts_.begin(), parts_.end(), isPartChanged);
}

void PackageStore::requireOpen() const {
    if (!open_) {
        throw Exception(ErrorKind::Misuse, "the package '" + physicalName_ + "' is not open");
    }
}

void PackageStore::requireWritable() const {
    requireOpen();
    if (mode_ == OpenMode::ReadOnly) {
        throw Exception(ErrorKind::Misuse, "the package '" + physicalName_ + "' is open for reading only");
    }
}

std::string PackageStore::where(const std::string& partName) const {
    return "package '" + physicalName_ + "', part " + shown(partName);
}

// ---- parts

bool PackageStore::hasPart(const std::string& name) const {
    requireOpen();
    return partPositions_.count(name) != 0;
}

const PartState& PackageStore::part(const std::string& name) const {
    requireOpen();
    const auto found = partPositions_.find(name);
    if (found == partPositions_.end()) {
        throw PartNotFound("package '" + physicalName_ + "': there is no part " + shown(name));
    }
    return *parts_[found->second];
}

PartState& PackageStore::writablePart(const std::string& name) {
    requireWritable();
    return const_cast<PartState&>(part(name));
}

std::vector<const PartState*> PackageStore::parts() const {
    requireOpen();
    std::vector<const PartState*> all;
    all.reserve(partPositions_.size());
    for (const auto& part : parts_) {
        if (part) {
            all.push_back(part.get());
        }
    }
    return all;
}

void PackageStore::createPart(const PartName& name, const ContentType& type,
                              const interfaces::IPhysicalPartInfo& info) {
    requireWritable();
    std::string folded = name.folded();
    takeName(name, folded);
    dropRelationshipsPart(name.ascii());  // one that a part of this name left behind
    PartState part;
    part.name = name.ascii();
    part.type = assignType(name, type);
    part.pending = std::make_shared<Bytes>();
    part.compression = info.getCompressionType();
    part.sizeHint = info.getSizeHint();
    part.relationships.list = newRelationships(part.name);
    addPart(std::move(folded), std::move(part));
    partsChanged_ = true;
}

/// Many parts of one kind, as images are, need one default for their extension, not an override each. In a file that
/// exists a new default could make parts of entries that are none, and parts with the extension "xml" are of all kinds.
const ContentType* PackageStore::assignType(const PartName& name, const ContentType& type) {
    const bool byDefault = mode_ == OpenMode::Create && !ContentTypes::hasMixedExtension(name);
    return byDefault ? contentTypes_.assignByDefault(name, type) : contentTypes_.assign(name, type);
}

void PackageStore::takeName(const PartName& name, const std::string& folded) {
    const std::string prefix = where(name.ascii()) + ": it cannot be created: ";
    if (isRelationshipsName(folded) || lastSegment(folded).substr(1) == kRelationshipsFolder) {
        throw Exception(ErrorKind::Misuse, prefix + "the name is kept for relationships");
    }
    if (partPositions_.count(folded) != 0) {
        throw Exception(ErrorKind::Conflict, prefix + "there is a part of that name");
    }
    if (others_.count(folded) != 0) {
        throw Exception(ErrorKind::Conflict, prefix + "the file has an entry of that name that is no part");
    }
    if (!names_.insert(folded)) {
        throw Exception(ErrorKind::Misuse, prefix + "its name and another part's derive one from the other (M1.11)");
    }
}

void PackageStore::addPart(std::string folded, PartState part) {
    parts_.push_back(std::make_unique<PartState>(std::move(part)));
    partPositions_.emplace(std::move(folded), parts_.size() - 1);
}

void PackageStore::deletePart(const std::string& name) {
    const PartState& part = writablePart(name);
    partsChanged_ = true;
    drop(part.entries);
    dropRelationshipsPart(part.name);
    contentTypes_.removeOverride(name);
    names_.erase(name);
    const auto position = partPositions_.find(name);
    parts_[position->second].reset();
    partPositions_.erase(position);
}

void PackageStore::drop(const Entries& entries) {
    for (const std::size_t entry : entries) {
        dropped_[entry] = true;
    }
}

std::uint64_t PackageStore::size(const std::string& name) const {
    const PartState& state = part(name);
    if (state.pending) {
        return state.pending->size();
    }
    return total(state.entries, &PhysicalEntry::size);
}

std::uint64_t PackageStore::storedSize(const std::string& name) const {
    const PartState& state = part(name);
    return state.pending ? 0 : total(state.entries, &PhysicalEntry::storedSize);
}

std::uint64_t PackageStore::total(const Entries& entries, std::uint64_t PhysicalEntry::*member) const {
    std::uint64_t sum = 0;
    for (const std::size_t entry : entries) {
        sum += physical_->entries()[entry].*member;
    }
    return sum;
}

std::shared_ptr<const PackageStore::Bytes> PackageStore::content(const std::string& name) const {
    const PartState& state = part(name);
    return state.pending ? state.pending : std::make_shared<const Bytes>(read(state.entries, state.name));
}

std::shared_ptr<const PackageStore::Bytes> PackageStore::xmlContent(const std::string& name) const {
    refuseLargerXml(size(name), part(name).name);
    return content(name);
}

std::shared_ptr<PackageStore::Bytes> PackageStore::replaceContent(const std::string& name) {
    PartState& state = writablePart(name);
    auto content = std::make_shared<Bytes>();
    content->reserve(
        static_cast<std::size_t>(std::min<std::uint64_t>(state.sizeHint, physical_->limits().maxPartSize)));
    state.pending = content;
    return content;
}

PackageStore::Bytes PackageStore::read(const Entries& entries, const std::string& name) const {
    if (entries.size() == 1) {
        return physical_->read(entries[0]);
    }
    refuseLarger(total(entries, &PhysicalEntry::size), physical_->limits().maxPartSize, "maxPartSize", name);
    Bytes whole;
    for (const std::size_t entry : entries) {
        const Bytes piece = physical_->read(entry);
        whole.insert(whole.end(), piece.begin(), piece.end());
    }
    return whole;
}

PackageStore::Bytes PackageStore::readXml(const Entries& entries, const std::string& name) const {
    refuseLargerXml(total(entries, &PhysicalEntry::size), name);
    return read(entries, name);
}

void PackageStore::refuseLargerXml(std::uint64_t size, const std::string& name) const {
    refuseLarger(size, physical_->limits().maxPackageXmlSize, "maxPackageXmlSize", name);
}

void PackageStore::refuseLarger(std::uint64_t size, std::uint64_t limit, const char* limitName,
                                const std::string& name) const {
    if (size > limit) {
        throw Exception(ErrorKind::LimitExceeded, where(name) + ": its " + std::to_string(size) +
                                                      " bytes are more than the limit " + limitName + " of " +
                                                      std::to_string(limit) + " permits");
    }
}

// ---- relationships

const RelationshipList& PackageStore::relationships(const std::string& source) {
    requireOpen();
    return loadRelationships(sourceState(source), nameOfSource(source));
}

SourceState& PackageStore::sourceState(const std::string& source) {
    return source.empty() ? packageRelationships_ : const_cast<PartState&>(part(source)).relationships;
}

std::string PackageStore::nameOfSource(const std::string& source) const {
    return source.empty() ? kPackageSource : part(source).name;
}

std::unique_ptr<RelationshipList> PackageStore::newRelationships(const std::string& sourceName) const {
    return std::make_unique<RelationshipList>(
        std::make_shared<const RelationshipOrigin>(RelationshipOrigin{physicalName_, sourceName}));
}

RelationshipList& PackageStore::loadRelationships(SourceState& state, const std::string& sourceName) {
    if (state.list) {
        return *state.list;
    }
    auto list = newRelationships(sourceName);
    const std::string name = relationshipsNameOf(sourceName);
    const auto found = others_.find(fold(name));
    if (found != others_.end()) {
        const ContentType* type = contentTypes_.find(found->first);
        if (type == nullptr || *type != relationshipsType()) {
            throw Exception(ErrorKind::Damaged, where(name) + ": it has not the content type of relationships (M1.30)");
        }
        list->parse(readXml(found->second, name), where(name));
    }
    state.list = std::move(list);
    return *state.list;
}

RelationshipList::RecordPtr PackageStore::addRelationship(const std::string& source, RelationshipRecord record) {
    requireWritable();
    SourceState& state = sourceState(source);
    RelationshipList& list = loadRelationships(state, nameOfSource(source));
    record.isIdChosen = record.id.empty();
    if (record.isIdChosen) {
        record.id = list.freshId();
    } else {
        list.giveWay(record.id);
    }
    if (const char* fault = faultOf(record, list)) {
        throw Exception(list.has(record.id) ? ErrorKind::Conflict : ErrorKind::Misuse,
                        where(nameOfSource(source)) + ": the relationship " + shown(record.id) +
                            " cannot be created: " + fault);
    }
    state.changed = true;
    return list.add(std::move(record));
}

void PackageStore::removeRelationship(const std::string& source, const std::u16string& id) {
    requireWritable();
    SourceState& state = sourceState(source);
    if (!loadRelationships(state, nameOfSource(source)).remove(id)) {
        throw Exception(ErrorKind::NotFound, where(nameOfSource(source)) + ": there is no relationship " + shown(id));
    }
    state.changed = true;
}

void PackageStore::removeRelationshipsByType(const std::string& source, const std::u16string& type) {
    requireWritable();
    SourceState& state = sourceState(source);
    if (loadRelationships(state, nameOfSource(source)).removeByType(type)) {
        state.changed = true;
    }
}

void PackageStore::dropRelationshipsPart(const std::string& sourceName) {
    const auto found = others_.find(fold(relationshipsNameOf(sourceName)));
    if (found != others_.end()) {
        drop(found->second);
        contentTypes_.removeOverride(found->first);
        others_.erase(found);
    }
}

}  // namespace opc::model::detail
