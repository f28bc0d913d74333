#include "reader/FlowbookFileReaderImpl.hpp"

#include "flowbook/FlowbookExceptions.hpp"
#include "format/HasExtension.hpp"
#include "format/ThrowInternal.hpp"
#include "format/Vocabulary.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "reader/ReaderFailure.hpp"

namespace flowbook {

using opc::pxservices::CorePropertiesManager;

FlowbookFileReader::FlowbookFileReaderImpl::FlowbookFileReaderImpl(const std::u16string& fileName,
                                                                   const opc::FileSystemOpsSelector& selector)
    : fileName_(fileName), fileSystemOpsSelector_(selector) {
    checkFileName();
    try {
        openPackage();
    } catch (const opc::model::PackageNotFound& failure) {
        detail::throwInternal(FlowbookFileReaderPackageNotFound(fileName_), failure);
    } catch (const opc::Exception& failure) {
        detail::throwReadingFailure(fileName_, failure);
    }
}

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
