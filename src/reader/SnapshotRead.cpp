#include "format/LogChannel.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "reader/FlowbookFileReaderImpl.hpp"

#include <iterator>

namespace flowbook {

using opc::model::ExcludeMode;
using opc::model::PartName;
using opc::model::Relationship;

namespace {

foundation::log::basic_diagnostic_logger logger(detail::kLogChannel);

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

void logContent(const std::vector<unsigned char>& content) {
    detail::log(logger, detail::kLogContent, "Printing part content");
    if (auto record = logger.open(detail::kLogContent)) {
        record.stream() << std::string(content.begin(), content.end());
    }
}

}  // namespace

FlowbookFilePackage FlowbookFileReader::FlowbookFileReaderImpl::read() const {
    std::vector<SnapshotPart> parts = readPackageParts();
    std::vector<SnapshotRelationship> relationships = readPackageRelationships();
    return {parts, relationships};
}

std::vector<FlowbookFilePackage::Part> FlowbookFileReader::FlowbookFileReaderImpl::readPackageParts() const {
    std::vector<SnapshotPart> parts;
    for (const std::u16string& type : FlowbookFilePackage::getPackageRelationshipTypes()) {
        std::vector<SnapshotPart> direct = readPackageParts(type);
        std::vector<SnapshotPart> internal;
        for (const SnapshotPart& part : direct) {
            if (!part.relationships.empty()) {
                appendTo(internal, readInternalParts(part));
            }
        }
        appendTo(parts, std::move(direct));
        appendTo(parts, std::move(internal));
    }
    return parts;
}

std::vector<FlowbookFilePackage::Part>
FlowbookFileReader::FlowbookFileReaderImpl::readPackageParts(const std::u16string& relationshipType) const {
    std::vector<SnapshotPart> parts;
    for (const Relationship& relationship : package_->getRelationshipsByType(relationshipType)) {
        parts.push_back(readTarget(relationship));
    }
    return parts;
}

std::vector<FlowbookFilePackage::Part>
FlowbookFileReader::FlowbookFileReaderImpl::readInternalParts(const SnapshotPart& part) const {
    const opc::model::Part source = package_->getPart(PartName(part.partName));
    std::vector<SnapshotPart> parts;
    for (const Relationship& relationship : source.getRelationships(ExcludeMode::None)) {
        parts.push_back(readTarget(relationship));
    }
    return parts;
}

FlowbookFilePackage::Part
FlowbookFileReader::FlowbookFileReaderImpl::readTarget(const Relationship& relationship) const {
    return readPart(package_->getPart(PartName(relationship.getTargetURI())));
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
