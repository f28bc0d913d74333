#include "flowbook/FlowbookFileReader.hpp"

#include "reader/FlowbookFileReaderImpl.hpp"

namespace flowbook {

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

}  // namespace flowbook
