// Writing a snapshot. The parts that the known relationships lead to are deleted first, with the parts below them, so
// that the file holds the snapshot's parts and what this library does not know.
#include "format/LogChannel.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "writer/FlowbookFileWriterImpl.hpp"

namespace flowbook {

using opc::model::PackageHelper;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::RelationshipSource;
using opc::model::StandardPartInfo;
using opc::model::URI;

namespace {

/// Creates a relationship. An external one always gets a new id; an internal one the given id if that is not empty.
void createRelationship(RelationshipSource& source, const FlowbookFilePackage::Relationship& relationship,
                        const std::u16string& internalId) {
    if (relationship.isInternal) {
        source.createInternalRelationship(relationship.type, URI(relationship.target), internalId);
    } else {
        source.createExternalRelationship(relationship.type, relationship.target, u"");
    }
}

}  // namespace

/// Relationships may come before the parts that they lead to: a package checks targets only when they are followed.
void FlowbookFileWriter::FlowbookFileWriterImpl::write(const FlowbookFilePackage& snapshot) {
    detail::log(detail::kLogProgress, "Starting to write flowbook file package");
    deletePackageParts();
    writePackageRelationships(snapshot.getRelationships());
    writePackageParts(snapshot.getParts());
    detail::log(detail::kLogProgress, "Finished writing flowbook file package");
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writePackageRelationships(
    const std::vector<FlowbookFilePackage::Relationship>& relationships) {
    for (const auto& relationship : relationships) {
        writePackageRelationship(relationship);
    }
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writePackageParts(std::vector<FlowbookFilePackage::Part> parts) {
    for (auto& part : parts) {
        writePackagePart(part);
        // The package has its own copy now; a snapshot may be as large as memory permits.
        std::vector<unsigned char>().swap(part.content);
    }
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writePackageRelationship(
    const FlowbookFilePackage::Relationship& relationship) {
    createRelationship(*package_, relationship, u"");
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writePackagePart(const FlowbookFilePackage::Part& part) {
    opc::model::Part created = package_->createPart(PartName(part.partName), opc::model::ContentType(part.contentType),
                                                    StandardPartInfo(opc::interfaces::CompressionType::Normal, 0));
    if (!part.relationships.empty()) {
        writePartRelationships(created, part.relationships);
    }
    opc::ByteArrayInAdaptor content(part.content);
    opc::StreamHelper::copyStreamToStream(content, *created.getOutputStream());
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writePartRelationships(
    opc::model::Part part, const std::vector<FlowbookFilePackage::Relationship>& relationships) {
    for (const auto& relationship : relationships) {
        createRelationship(part, relationship, relationship.id);
    }
}

void FlowbookFileWriter::FlowbookFileWriterImpl::deletePackageParts() {
    for (const std::u16string& type : FlowbookFilePackage::getPackageRelationshipTypes()) {
        deletePartByRelationshipType(type);
    }
}

/// Deletes the parts below first: with their source gone, their relationships could not be followed any more.
void FlowbookFileWriter::FlowbookFileWriterImpl::deletePartByRelationshipType(const std::u16string& relationshipType) {
    for (const Relationship& relationship : package_->getRelationshipsByType(relationshipType)) {
        deletePartRelationships(package_->getPart(PartName(relationship.getTargetURI())));
    }
    PackageHelper::deleteRelationshipsAndTargets(*package_, relationshipType);
}

void FlowbookFileWriter::FlowbookFileWriterImpl::deletePartRelationships(const opc::model::Part& part) {
    for (const Relationship& relationship : part.getRelationships(opc::model::ExcludeMode::None)) {
        PackageHelper::deleteRelationshipsAndTargets(*package_, part, relationship.getType());
    }
}

}  // namespace flowbook
