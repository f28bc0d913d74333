// Whole packages as values, and the one place that writes such a value. The same content always gives the same bytes,
// which canon promises and tests of all writers stand on.
#include "kit/package/PackageContent.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/EntryNames.hpp"
#include "opc/Exception.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>

namespace flowbook::kit {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;
using opc::interfaces::CompressionType;
using opc::model::Package;
using opc::model::PartName;
using opc::model::RelationshipSource;
using opc::zippackage::ZipPhysicalPackage;
using Record = FlowbookFilePackage::Relationship;
using PartRecord = FlowbookFilePackage::Part;

namespace {

const std::u16string& kName = *new std::u16string(u"flowbook");

std::string foldedEntry(const PartName& name) { return name.folded().substr(1); }

/// The folded names of the entries that parts and their relationships take.
std::set<std::string> entriesOfParts(const Package& package) {
    std::set<std::string> names{"[content_types].xml", relationshipsEntry("")};
    for (const auto& part : package.getParts()) {
        names.insert(foldedEntry(part.getName()));
        names.insert(relationshipsEntry(foldedEntry(part.getName())));
    }
    return names;
}

/// A part may lie in several entries, which have its name and a number (ECMA-376-2, interleaving).
std::string withoutPiece(const std::string& entry) {
    const std::size_t mark = entry.rfind("/[");
    const bool isPiece = mark != std::string::npos && endsWith(entry, ".piece");
    return isPiece ? entry.substr(0, mark) : entry;
}

/// An internal target in the one form that a URI reference has; as it stands where it is none, so that no program can
/// follow it, and an external one always.
std::u16string writtenTarget(const Record& record) {
    try {
        return record.isInternal ? opc::model::URI(record.target).toString() : record.target;
    } catch (const opc::Exception&) {
        return record.target;
    }
}

void addRelationships(RelationshipSource& source, const std::vector<Record>& records) {
    using opc::model::TargetMode;
    for (const Record& record : records) {
        source.carryRelationship(record.type, writtenTarget(record),
                                 record.isInternal ? TargetMode::Internal : TargetMode::External, record.id);
    }
}

void addPart(Package& package, const PartRecord& record, CompressionType compression) {
    opc::model::Part part = package.createPart(PartName(record.partName), opc::model::ContentType(record.contentType),
                                               opc::model::StandardPartInfo(compression, 0));
    part.getOutputStream()->write(record.content.data(), record.content.size());
    addRelationships(part, record.relationships);
}

/// The package takes a copy of each part, so each goes as soon as it is written.
void addParts(Package& package, std::vector<PartRecord>& parts, CompressionType compression, const ReadPart& read) {
    for (PartRecord& part : parts) {
        // Contents that are read when they are needed keep a package of gigabytes out of memory.
        if (read && part.content.empty()) {
            part.content = read(part.partName);
        }
        addPart(package, part, compression);
        part.content = fl::Bytes();
    }
}

/// Adds parts to a package, a new one or one that is there.
void writeParts(const opc::FileSystemOpsSelector& files, opc::interfaces::OpenMode mode, PackageContent content,
                CompressionType compression, const ReadPart& read) {
    ZipPhysicalPackage container(kName, files, true);
    Package package(container);
    package.open(mode);
    addParts(package, content.parts, compression, read);
    addRelationships(package, content.relationships);
    package.close();
}

/// Takes out the parts with an extension that an entry has which is no part. In a new package parts share a content
/// type for their extension, which would make such an entry a part.
std::vector<PartRecord> takeLikeOthers(PackageContent& content) {
    std::set<std::string> extensions;
    for (const auto& other : content.others) {
        extensions.insert(fold(extensionOf(other.first)));
    }
    extensions.erase("");
    // Stable, so that the parts stay in the order of their names, and the same content gives the same bytes.
    const auto first = std::stable_partition(content.parts.begin(), content.parts.end(), [&](const PartRecord& part) {
        return extensions.count(fold(extensionOf(fl::i18n::to_string(part.partName)))) == 0;
    });
    std::vector<PartRecord> taken(std::make_move_iterator(first), std::make_move_iterator(content.parts.end()));
    content.parts.erase(first, content.parts.end());
    return taken;
}

/// Puts the entries that are no parts behind those that a package wrote.
void appendOthers(const opc::FileSystemOpsSelector& files, const std::map<std::string, fl::Bytes>& others,
                  CompressionType compression) {
    ZipPhysicalPackage container(kName, files, true);
    container.open(opc::interfaces::OpenMode::Update);
    std::vector<opc::interfaces::PlannedEntry> plan(container.entries().size());
    for (std::size_t i = 0; i < plan.size(); ++i) {
        // What was written before is taken over as it stands, without inflating it.
        plan[i].carried = i;
    }
    for (const auto& [name, content] : others) {
        plan.push_back({&content, 0, name, compression});
    }
    container.commit(plan);
}

std::string foldedName(const PartRecord& part) { return PartName(part.partName).folded(); }

}  // namespace

PartRecord* PackageContent::find(const std::u16string& name) {
    const PartName wanted(name);
    const auto found = std::find_if(parts.begin(), parts.end(),
                                    [&](const PartRecord& part) { return PartName(part.partName) == wanted; });
    return found == parts.end() ? nullptr : &*found;
}

std::vector<Record> relationshipsOf(const RelationshipSource& source) {
    std::vector<Record> records;
    for (const auto& each : source.getRelationships(opc::model::ExcludeMode::None)) {
        records.push_back(
            {each.getType(), each.getTarget(), each.getID(), each.getTargetMode() == opc::model::TargetMode::Internal});
    }
    return records;
}

PackageContent readContent(const Document& document, const ReadContent& read) {
    PackageContent content;
    const Package& package = document.package();
    for (const auto& part : package.getParts()) {
        content.parts.push_back(
            {read(part), part.getContentType().toString(), part.getName().toString(), relationshipsOf(part)});
    }
    content.relationships = relationshipsOf(package);
    content.others = readOthers(document);
    return content;
}

std::map<std::string, fl::Bytes> readOthers(const Document& document) {
    std::map<std::string, fl::Bytes> others;
    for (const std::size_t entry : otherEntries(document)) {
        others[std::string(document.container().entries()[entry].name)] = document.container().read(entry);
    }
    return others;
}

std::vector<std::size_t> otherEntries(const Document& document) {
    const std::set<std::string> taken = entriesOfParts(document.package());
    const auto& entries = document.container().entries();
    std::vector<std::size_t> others;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (taken.count(withoutPiece(fold(entries[i].name))) == 0) {
            others.push_back(i);
        }
    }
    return others;
}

fl::Bytes writeContent(PackageContent content, CompressionType compression, const ReadPart& read) {
    std::sort(content.parts.begin(), content.parts.end(),
              [](const PartRecord& a, const PartRecord& b) { return foldedName(a) < foldedName(b); });
    const auto memory = std::make_shared<MemoryStorage>();
    const opc::FileSystemOpsSelector files{StorageSystemReference(memory)};
    std::vector<PartRecord> likeOthers = takeLikeOthers(content);
    // In this order, so that no entry that is no part takes the name of a part that comes after it.
    const std::map<std::string, fl::Bytes> others = std::move(content.others);
    writeParts(files, opc::interfaces::OpenMode::Create, std::move(content), compression, read);
    if (!likeOthers.empty()) {
        writeParts(files, opc::interfaces::OpenMode::Update, {std::move(likeOthers), {}, {}}, compression, read);
    }
    if (!others.empty()) {
        appendOthers(files, others, compression);
    }
    return memory->get(kName);
}

fl::Bytes canonical(const Document& document, CompressionType compression, const ReadContent& read) {
    PackageContent content = readContent(document, [](const opc::model::Part&) { return fl::Bytes(); });
    return writeContent(std::move(content), compression,
                        [&](const std::u16string& name) { return read(document.package().getPart(PartName(name))); });
}

bool isSigned(const Document& document) {
    constexpr std::u16string_view kOrigin =
        u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/";
    const auto records = document.package().getRelationships(opc::model::ExcludeMode::None);
    return std::any_of(records.begin(), records.end(),
                       [&](const auto& each) { return each.getType().compare(0, kOrigin.size(), kOrigin) == 0; });
}

/// Entry by entry, so that what the package says of itself is not even looked at.
fl::Bytes recompressed(const Document& document, CompressionType compression) {
    const auto& entries = document.container().entries();
    std::vector<fl::Bytes> contents;
    std::vector<opc::interfaces::PlannedEntry> plan;
    contents.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        contents.push_back(document.container().read(i));
        plan.push_back({&contents.back(), 0, std::string(entries[i].name), compression});
    }
    const auto memory = std::make_shared<MemoryStorage>();
    ZipPhysicalPackage container(kName, opc::FileSystemOpsSelector{StorageSystemReference(memory)}, true);
    container.open(opc::interfaces::OpenMode::Create);
    container.commit(plan);
    return memory->get(kName);
}

}  // namespace flowbook::kit
