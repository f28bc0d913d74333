#include "flowbook/FlowbookFileWriter.hpp"

#include "writer/FlowbookFileWriterImpl.hpp"

namespace flowbook {

FlowbookFileWriter::FlowbookFileWriter(const std::u16string& fileName,
                                       const foundation::storage::vfs::StorageSystemReference& storage,
                                       std::pair<std::u16string, std::u16string> contentTypeInfo)
    : impl_(std::make_unique<FlowbookFileWriterImpl>(fileName, opc::FileSystemOpsSelector(storage),
                                                     std::move(contentTypeInfo))) {}

FlowbookFileWriter::FlowbookFileWriter(const std::u16string& fileName,
                                       std::pair<std::u16string, std::u16string> contentTypeInfo)
    : impl_(std::make_unique<FlowbookFileWriterImpl>(fileName, opc::FileSystemOpsSelector(),
                                                     std::move(contentTypeInfo))) {}

FlowbookFileWriter::~FlowbookFileWriter() = default;

void FlowbookFileWriter::setTitle(const std::u16string& title) { impl_->setTitle(title); }

void FlowbookFileWriter::setDescription(const std::u16string& description) { impl_->setDescription(description); }

void FlowbookFileWriter::setVersion(const std::u16string& version) { impl_->setVersion(version); }

void FlowbookFileWriter::setTARMICCode(const std::u16string& code) { impl_->setTARMICCode(code); }

void FlowbookFileWriter::setEncryptedRichTARMICCode(opc::InputStream& stream) {
    impl_->setEncryptedRichTARMICCode(stream);
}

void FlowbookFileWriter::write(const FlowbookFilePackage& snapshot) { impl_->write(snapshot); }

void FlowbookFileWriter::writePackagePart(const FlowbookFilePackage::Part& part) { impl_->writePackagePart(part); }

void FlowbookFileWriter::writePackageRelationship(const FlowbookFilePackage::Relationship& relationship) {
    impl_->writePackageRelationship(relationship);
}

void FlowbookFileWriter::deletePartByRelationshipType(const std::u16string& relationshipType) {
    impl_->deletePartByRelationshipType(relationshipType);
}

void FlowbookFileWriter::close(bool revertChanges) { impl_->close(revertChanges); }

std::u16string FlowbookFileWriter::getBackupFileName() { return impl_->getBackupFileName(); }

}  // namespace flowbook
