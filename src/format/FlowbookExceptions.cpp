#include "flowbook/FlowbookExceptions.hpp"

namespace flowbook {

FlowbookExceptionBase::FlowbookExceptionBase(const std::u16string& fileName, const std::string& message)
    : std::runtime_error(message), fileName_(fileName) {}

FlowbookExceptionBase::~FlowbookExceptionBase() = default;

std::u16string FlowbookExceptionBase::getFileName() const { return fileName_; }

FlowbookInvalidFileName::FlowbookInvalidFileName(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Not a valid flowbook filename ") {}

FlowbookInvalidFileName::~FlowbookInvalidFileName() = default;

FlowbookFileReaderPackageNotFound::FlowbookFileReaderPackageNotFound(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "FlowbookFileReader cannot find package to open ") {}

FlowbookFileReaderPackageNotFound::~FlowbookFileReaderPackageNotFound() = default;

FlowbookFilePackageNotOpened::FlowbookFilePackageNotOpened(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Flowbook package is not open ") {}

FlowbookFilePackageNotOpened::~FlowbookFilePackageNotOpened() = default;

FlowbookNotFound::FlowbookNotFound(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "TARMIC Code not found") {}

FlowbookNotFound::~FlowbookNotFound() = default;

FlowbookOutputNotFound::FlowbookOutputNotFound(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Stored output not found") {}

FlowbookOutputNotFound::~FlowbookOutputNotFound() = default;

FlowbookImageNotFound::FlowbookImageNotFound(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Stored image not found") {}

FlowbookImageNotFound::~FlowbookImageNotFound() = default;

FlowbookEncrypted::FlowbookEncrypted(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "TARMIC Code cannot be read from an encrypted flowbook file") {}

FlowbookEncrypted::~FlowbookEncrypted() = default;

FlowbookNotEncrypted::FlowbookNotEncrypted(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Encrypted TARMIC Code cannot be read from unencrypted flowbook file") {}

FlowbookNotEncrypted::~FlowbookNotEncrypted() = default;

FlowbookPropertyNotFound::FlowbookPropertyNotFound(const std::u16string& fileName, const std::string& propertyName)
    : FlowbookExceptionBase(fileName, "Requested Property was not found "), propertyName_(propertyName) {}

FlowbookPropertyNotFound::~FlowbookPropertyNotFound() = default;

std::string FlowbookPropertyNotFound::getPropertyName() const { return propertyName_; }

FlowbookFileReaderGenericException::FlowbookFileReaderGenericException(const std::u16string& fileName,
                                                                       const std::string& message)
    : FlowbookExceptionBase(fileName, message) {}

FlowbookFileReaderGenericException::~FlowbookFileReaderGenericException() = default;

FlowbookFileWriterGenericException::FlowbookFileWriterGenericException(const std::u16string& fileName,
                                                                       const std::string& message)
    : FlowbookExceptionBase(fileName, message) {}

FlowbookFileWriterGenericException::~FlowbookFileWriterGenericException() = default;

FlowbookFileWriterInvalidRichCode::FlowbookFileWriterInvalidRichCode(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Invalid contents for Rich TARMIC Code") {}

FlowbookFileWriterInvalidRichCode::~FlowbookFileWriterInvalidRichCode() = default;

FlowbookFileWriterInvalidOutput::FlowbookFileWriterInvalidOutput(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Invalid contents for flowbook Output") {}

FlowbookFileWriterInvalidOutput::~FlowbookFileWriterInvalidOutput() = default;

FlowbookFileWriterInvalidImage::FlowbookFileWriterInvalidImage(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Invalid image properties") {}

FlowbookFileWriterInvalidImage::~FlowbookFileWriterInvalidImage() = default;

}  // namespace flowbook
