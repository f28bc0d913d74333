// Opening a flowbook for writing, closing it, and the public calls, each of which the implementation class answers.
// Nothing reaches the file before close(): until then all changes are in memory.
#include "flowbook/FlowbookFileWriter.hpp"

#include "fl/filesystem/Canonical.hpp"
#include "fl/filesystem/FsysExceptionBase.hpp"
#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "format/LogChannel.hpp"
#include "format/ThrowInternal.hpp"
#include "format/Vocabulary.hpp"
#include "foundation/storage/vfs/hasIRIPrefix.hpp"
#include "opc/CommitOptions.hpp"
#include "opc/Exception.hpp"
#include "writer/FlowbookFileWriterImpl.hpp"

#include <boost/exception/diagnostic_information.hpp>

namespace flowbook {

using opc::interfaces::OpenMode;
using opc::pxservices::CorePropertiesManager;

namespace {

/// Reports that a file cannot be opened, by the reader's class: callers have always caught that one for it.
[[noreturn]] void throwOpeningFailure(const std::u16string& fileName, const std::exception& failure) {
    detail::throwFor<FlowbookFileReaderGenericException>(failure, fileName,
                                                         "Internal Exception in reading TQX file : ");
}

constexpr const char* kWriting = "Internal Exception in writing TQX file : ";

void logBeingHandled() {
    if (auto record = detail::logger.open(detail::kLogWriteFailure)) {
        record.stream() << "Caught exception while writing to file: "
                        << boost::current_exception_diagnostic_information(true);
    }
}

}  // namespace

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

FlowbookFileWriter::FlowbookFileWriterImpl::FlowbookFileWriterImpl(
    const std::u16string& fileName, const opc::FileSystemOpsSelector& selector,
    std::pair<std::u16string, std::u16string> contentTypeInfo)
    : fileSystemOpsSelector_(selector),
      fileName_(fileName),
      coreContentType_(std::move(contentTypeInfo.first)),
      coreContentTypeFriendlyName_(std::move(contentTypeInfo.second)) {
    try {
        openPackage();
    } catch (const opc::Exception& failure) {
        throwOpeningFailure(fileName_, failure);
    } catch (const fl::filesystem::FsysExceptionBase& failure) {
        throwOpeningFailure(fileName_, failure);
    }
}

void FlowbookFileWriter::FlowbookFileWriterImpl::openPackage() {
    const std::u16string path = locateFile();
    setDefaultContentType();
    zipPackage_ = std::make_unique<opc::zippackage::ZipPhysicalPackage>(path, fileSystemOpsSelector_, true);
    package_ = std::make_unique<opc::model::Package>(*zipPackage_);
    corePropertiesManager_ =
        std::make_unique<CorePropertiesManager>(*package_, CorePropertiesManager::DeterministicMode::Off);
    setupBackupOptions();
    package_->open(fileExisted_ ? OpenMode::Update : OpenMode::Create);
}

/// Finds out whether the file exists, and returns the name to work with. For an existing plain path that is the
/// canonical one, so that a symbolic link is kept and its target replaced.
std::u16string FlowbookFileWriter::FlowbookFileWriterImpl::locateFile() {
    fileExisted_ = fileSystemOpsSelector_.getForPath(fileName_).exists(fileName_);
    if (fileExisted_ && !foundation::storage::vfs::hasIRIPrefix(fileName_)) {
        return fl::filesystem::canonical(fileName_, u"");
    }
    return fileName_;
}

void FlowbookFileWriter::FlowbookFileWriterImpl::setDefaultContentType() {
    if (coreContentType_.empty() && coreContentTypeFriendlyName_.empty()) {
        coreContentType_ = format::kDefaultCoreContentType;
        coreContentTypeFriendlyName_ = format::kDefaultCoreContentTypeFriendlyName;
    }
}

/// Sets up options that are then not handed to the package: close() commits without a backup, as callers rely on no "~"
/// file appearing beside their documents.
void FlowbookFileWriter::FlowbookFileWriterImpl::setupBackupOptions() {
    opc::CommitOptions options;
    options.removeBackup(false);
    options.backupExtension(u"~");
    options.backupCreatedFcn([this](const std::u16string& backupName) {
        if (auto record = detail::logger.open(detail::kLogProgress)) {
            record.stream() << "Backup created : " << fl::i18n::to_string(backupName);
        }
        backupFileName_ = backupName;
    });
}

/// If it throws, the writer stays as it is, and the caller may close it again once the reason is gone, or revert.
void FlowbookFileWriter::FlowbookFileWriterImpl::close(bool revertChanges) {
    if (isPartIncomplete_ && !revertChanges) {
        detail::throwInternal(FlowbookFileWriterGenericException(
            fileName_, std::string(kWriting) + "the code part was left incomplete when setting the code failed",
            FlowbookErrorKind::Misuse));
    }
    try {
        if (revertChanges) {
            package_->revert();
        } else {
            writeProperties();
            package_->close();
        }
    } catch (const opc::Exception& failure) {
        logBeingHandled();
        detail::throwFor<FlowbookFileWriterGenericException>(failure, fileName_, kWriting);
    }
}

}  // namespace flowbook
