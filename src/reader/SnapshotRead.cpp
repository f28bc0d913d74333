// Reading a whole flowbook as a snapshot. The parts are those that the known relationships of the package lead to, and
// one level below them those that their own relationships lead to. A part that is reached by several ways appears
// several times. A hostile file could make that grow without bounds, so the repeats are limited.
#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "format/LogChannel.hpp"
#include "format/ThrowInternal.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "reader/FlowbookFileReaderImpl.hpp"

#include <cstring>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

namespace flowbook {

using opc::model::ExcludeMode;
using opc::model::PartName;
using opc::model::Relationship;

namespace {

template <class T>
void appendTo(std::vector<T>& all, std::vector<T> more) {
    all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

FlowbookFilePackage::Relationship toSnapshot(const Relationship& relationship) {
    return {relationship.getType(), relationship.getTarget(), relationship.getID(),
            relationship.getTargetMode() == opc::model::TargetMode::Internal};
}

std::vector<FlowbookFilePackage::Relationship> toSnapshot(const std::vector<Relationship>& relationships) {
    std::vector<FlowbookFilePackage::Relationship> records;
    records.reserve(relationships.size());
    for (const Relationship& relationship : relationships) {
        records.push_back(toSnapshot(relationship));
    }
    return records;
}

/// Logs the content of a part, which forms a text only if that level is enabled.
void logContent(const std::vector<unsigned char>& content) {
    detail::log(detail::kLogContent, "Printing part content");
    if (auto record = detail::logger.open(detail::kLogContent)) {
        record.stream() << std::string(content.begin(), content.end());
    }
}

/// Returns about what a part takes in memory, its relationships included: of those a small file can have very many.
std::size_t sizeOf(const FlowbookFilePackage::Part& part) {
    std::size_t units = part.partName.size() + part.contentType.size();
    for (const auto& relationship : part.relationships) {
        units += relationship.type.size() + relationship.target.size() + relationship.id.size();
    }
    return part.content.size() + part.relationships.size() * sizeof(FlowbookFilePackage::Relationship) +
           units * sizeof(char16_t) + sizeof part;
}

}  // namespace

/// Adds up the bytes of parts that are reached again, and refuses a file in which they exceed the limit. While all
/// parts together do not exceed it, none is looked for among the others: nearly all files are read without that.
class FlowbookFileReader::FlowbookFileReaderImpl::Repeats {
public:
    explicit Repeats(const std::u16string& fileName) : fileName_(fileName) {}

    void add(const SnapshotPart& part) {
        const std::size_t size = sizeOf(part);
        waiting_.emplace_back(part.partName, size);
        allBytes_ += size;
        if (allBytes_ > kMaxRepeatedBytes) {
            for (const auto& [name, bytes] : std::exchange(waiting_, {})) {
                count(name, bytes);
            }
        }
    }

private:
    void count(const std::u16string& name, std::size_t size) {
        if (names_.insert(fl::i18n::to_lower(name)).second) {
            return;
        }
        bytes_ += size;
        if (bytes_ > kMaxRepeatedBytes) {
            detail::throwInternal(FlowbookFileReaderGenericException(
                fileName_,
                "Internal Exception in reading Flowbook file : relationships lead to the same parts so "
                "often that their copies take more than the limit kMaxRepeatedBytes of " +
                    std::to_string(kMaxRepeatedBytes) + " bytes permits, the last one " +
                    fl::i18n::to_string(name.substr(0, kShownName)),
                FlowbookErrorKind::LimitExceeded));
        }
    }

    static constexpr std::size_t kShownName = 100;

    /// Orders by length first, which is cheaper; the order itself does not matter.
    struct Before {
        bool operator()(const std::u16string& a, const std::u16string& b) const noexcept {
            return a.size() != b.size() ? a.size() < b.size()
                                        : std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) < 0;
        }
    };

    const std::u16string& fileName_;
    std::vector<std::pair<std::u16string, std::size_t>> waiting_;  ///< names and sizes that were not counted yet
    std::size_t allBytes_ = 0;
    std::set<std::u16string, Before> names_;
    std::size_t bytes_ = 0;  ///< of what was reached again
};

/// Reads parts and relationships in the order of the known relationship types, not in that of the file, so
/// that equal flowbooks give equal snapshots.
FlowbookFilePackage FlowbookFileReader::FlowbookFileReaderImpl::read() const {
    Repeats repeats(fileName_);
    std::vector<SnapshotPart> parts = readPackageParts(repeats);
    return {std::move(parts), readPackageRelationships()};
}

std::vector<FlowbookFilePackage::Part>
FlowbookFileReader::FlowbookFileReaderImpl::readPackageParts(Repeats& repeats) const {
    std::vector<SnapshotPart> parts;
    for (const std::u16string& type : FlowbookFilePackage::getPackageRelationshipTypes()) {
        std::vector<SnapshotPart> direct = readPackageParts(type, repeats);
        std::vector<SnapshotPart> internal;
        for (const SnapshotPart& part : direct) {
            if (!part.relationships.empty()) {
                appendTo(internal, readInternalParts(part, repeats));
            }
        }
        appendTo(parts, std::move(direct));
        appendTo(parts, std::move(internal));
    }
    return parts;
}

std::vector<FlowbookFilePackage::Part>
FlowbookFileReader::FlowbookFileReaderImpl::readPackageParts(const std::u16string& relationshipType,
                                                             Repeats& repeats) const {
    std::vector<SnapshotPart> parts;
    for (const Relationship& relationship : package_->getRelationshipsByType(relationshipType)) {
        parts.push_back(readTarget(relationship, repeats));
    }
    return parts;
}

/// Reads the parts one level below a part. Their own relationships are in the snapshot, but are not followed further,
/// so that relationships in a circle end here.
std::vector<FlowbookFilePackage::Part>
FlowbookFileReader::FlowbookFileReaderImpl::readInternalParts(const SnapshotPart& part, Repeats& repeats) const {
    const opc::model::Part source = package_->getPart(PartName(part.partName));
    std::vector<SnapshotPart> parts;
    for (const Relationship& relationship : source.getRelationships(ExcludeMode::None)) {
        parts.push_back(readTarget(relationship, repeats));
    }
    return parts;
}

/// Every part that is reached passes here, so that none escapes the count of repeats.
FlowbookFilePackage::Part FlowbookFileReader::FlowbookFileReaderImpl::readTarget(const Relationship& relationship,
                                                                                 Repeats& repeats) const {
    SnapshotPart part = readPart(package_->getPart(PartName(relationship.getTargetURI())));
    repeats.add(part);
    return part;
}

FlowbookFilePackage::Part FlowbookFileReader::FlowbookFileReaderImpl::readPart(const opc::model::Part& part) const {
    SnapshotPart record;
    record.partName = part.getName().toString();
    record.contentType = part.getContentType().toString();
    opc::ByteArrayOutAdaptor out(record.content);
    opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
    logContent(record.content);
    record.relationships = readPartRelationships(part);
    return record;
}

std::vector<FlowbookFilePackage::Relationship>
FlowbookFileReader::FlowbookFileReaderImpl::readPackageRelationships() const {
    std::vector<SnapshotRelationship> relationships;
    for (const std::u16string& type : FlowbookFilePackage::getPackageRelationshipTypes()) {
        appendTo(relationships, readPackageRelationship(type));
    }
    return relationships;
}

std::vector<FlowbookFilePackage::Relationship>
FlowbookFileReader::FlowbookFileReaderImpl::readPackageRelationship(const std::u16string& relationshipType) const {
    return toSnapshot(package_->getRelationshipsByType(relationshipType));
}

std::vector<FlowbookFilePackage::Relationship>
FlowbookFileReader::FlowbookFileReaderImpl::readPartRelationships(const opc::model::Part& part) const {
    return toSnapshot(part.getRelationships(ExcludeMode::None));
}

}  // namespace flowbook
