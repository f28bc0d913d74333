// Opening a flowbook for reading, and the public calls, each of which the implementation class answers. Failures of the
// package become the library's exceptions here; the constructor is where callers expect them.
#include "flowbook/FlowbookFileReader.hpp"

#include "flowbook/FlowbookExceptions.hpp"
#include "format/ThrowInternal.hpp"
#include "format/Vocabulary.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "reader/FlowbookFileReaderImpl.hpp"

namespace flowbook {

using opc::pxservices::CorePropertiesManager;

FlowbookFileReader::FlowbookFileReader(const std::u16string& fileName)
    : impl_(std::make_unique<FlowbookFileReaderImpl>(fileName, opc::FileSystemOpsSelector())) {}

FlowbookFileReader::FlowbookFileReader(const std::u16string& fileName,
                                       const foundation::storage::vfs::StorageSystemReference& storage)
    : impl_(std::make_unique<FlowbookFileReaderImpl>(fileName, opc::FileSystemOpsSelector(storage))) {}

FlowbookFileReader::~FlowbookFileReader() = default;

std::u16string FlowbookFileReader::getTARMICCode() const { return impl_->getTARMICCode(); }

std::u16string FlowbookFileReader::getRichTARMICCode() const { return impl_->getRichTARMICCode(); }

void FlowbookFileReader::getEncryptedRichTARMICCode(opc::OutputStream& out) const {
    impl_->getEncryptedRichTARMICCode(out);
}

bool FlowbookFileReader::isPlainCode() const { return impl_->isPlainCode(); }

std::u16string FlowbookFileReader::getTitle() const { return impl_->getTitle(); }

std::u16string FlowbookFileReader::getDescription() const { return impl_->getDescription(); }

std::u16string FlowbookFileReader::getVersion() const { return impl_->getVersion(); }

std::u16string FlowbookFileReader::getTARMICRelease() const { return impl_->getTARMICRelease(); }

boost::posix_time::ptime FlowbookFileReader::getCreatedTime() const { return impl_->getCreatedTime(); }

boost::posix_time::ptime FlowbookFileReader::getLastModifiedTime() const { return impl_->getLastModifiedTime(); }

FlowbookFilePackage FlowbookFileReader::read() const { return impl_->read(); }

FlowbookFileReader::FlowbookFileReaderImpl::FlowbookFileReaderImpl(const std::u16string& fileName,
                                                                   const opc::FileSystemOpsSelector& selector)
    : fileName_(fileName), fileSystemOpsSelector_(selector) {
    checkFileName();
    try {
        openPackage();
    } catch (const opc::model::PackageNotFound&) {
        detail::throwInternal(FlowbookFileReaderPackageNotFound(fileName_));
    } catch (const opc::Exception& failure) {
        detail::throwReadingFailure(fileName_, failure);
    }
}

/// Nothing was changed, so closing writes nothing; a failure leaves nothing to do but to let go of the file.
FlowbookFileReader::FlowbookFileReaderImpl::~FlowbookFileReaderImpl() {
    try {
        package_->close();
    } catch (...) {
        package_->revert();
    }
}

void FlowbookFileReader::FlowbookFileReaderImpl::checkFileName() const {
    if (!detail::hasExtension(fileName_, format::kFlowbookExtension) &&
        !detail::hasExtension(fileName_, format::kAppExtension)) {
        detail::throwInternal(FlowbookInvalidFileName(fileName_));
    }
}

void FlowbookFileReader::FlowbookFileReaderImpl::openPackage() {
    zipPackage_ = std::make_unique<opc::zippackage::ZipPhysicalPackage>(fileName_, fileSystemOpsSelector_, true);
    package_ = std::make_unique<opc::model::Package>(*zipPackage_);
    corePropertiesManager_ =
        std::make_unique<CorePropertiesManager>(*package_, CorePropertiesManager::DeterministicMode::Off);
    package_->open(opc::interfaces::OpenMode::ReadOnly);
}

}  // namespace flowbook
