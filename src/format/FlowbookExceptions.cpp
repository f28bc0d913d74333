// The texts and kinds of the library's exceptions. The texts are part of the contract and stay as they are: callers
// compare them. Destructors are defined here, so that hosts catch these classes by one type information.
#include "flowbook/FlowbookExceptions.hpp"

namespace flowbook {

FlowbookExceptionBase::FlowbookExceptionBase(const std::u16string& fileName, const std::string& message,
                                             FlowbookErrorKind kind)
    : std::runtime_error(message), fileName_(fileName), kind_(kind) {}

FlowbookExceptionBase::~FlowbookExceptionBase() = default;

std::u16string FlowbookExceptionBase::getFileName() const { return fileName_; }

FlowbookInvalidFileName::FlowbookInvalidFileName(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Not a valid flowbook filename ", FlowbookErrorKind::Misuse) {}

FlowbookInvalidFileName::~FlowbookInvalidFileName() = default;

FlowbookFileReaderPackageNotFound::FlowbookFileReaderPackageNotFound(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "FlowbookFileReader cannot find package to open ", FlowbookErrorKind::NotFound) {}

FlowbookFileReaderPackageNotFound::~FlowbookFileReaderPackageNotFound() = default;

FlowbookFilePackageNotOpened::FlowbookFilePackageNotOpened(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Flowbook package is not open ", FlowbookErrorKind::Misuse) {}

FlowbookFilePackageNotOpened::~FlowbookFilePackageNotOpened() = default;

FlowbookNotFound::FlowbookNotFound(const std::u16string& fileName, FlowbookErrorKind kind)
    : FlowbookExceptionBase(fileName, "TARMIC Code not found", kind) {}

FlowbookNotFound::~FlowbookNotFound() = default;

FlowbookOutputNotFound::FlowbookOutputNotFound(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Stored output not found", FlowbookErrorKind::Absent) {}

FlowbookOutputNotFound::~FlowbookOutputNotFound() = default;

FlowbookImageNotFound::FlowbookImageNotFound(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Stored image not found", FlowbookErrorKind::Absent) {}

FlowbookImageNotFound::~FlowbookImageNotFound() = default;

FlowbookEncrypted::FlowbookEncrypted(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "TARMIC Code cannot be read from an encrypted flowbook file",
                            FlowbookErrorKind::Encrypted) {}

FlowbookEncrypted::~FlowbookEncrypted() = default;

FlowbookNotEncrypted::FlowbookNotEncrypted(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Encrypted TARMIC Code cannot be read from unencrypted flowbook file",
                            FlowbookErrorKind::Absent) {}

FlowbookNotEncrypted::~FlowbookNotEncrypted() = default;

FlowbookPropertyNotFound::FlowbookPropertyNotFound(const std::u16string& fileName, const std::string& propertyName)
    : FlowbookExceptionBase(fileName, "Requested Property was not found ", FlowbookErrorKind::Absent),
      propertyName_(propertyName) {}

FlowbookPropertyNotFound::~FlowbookPropertyNotFound() = default;

std::string FlowbookPropertyNotFound::getPropertyName() const { return propertyName_; }

FlowbookFileReaderGenericException::FlowbookFileReaderGenericException(const std::u16string& fileName,
                                                                       const std::string& message,
                                                                       FlowbookErrorKind kind)
    : FlowbookExceptionBase(fileName, message, kind) {}

FlowbookFileReaderGenericException::~FlowbookFileReaderGenericException() = default;

FlowbookFileWriterGenericException::FlowbookFileWriterGenericException(const std::u16string& fileName,
                                                                       const std::string& message,
                                                                       FlowbookErrorKind kind)
    : FlowbookExceptionBase(fileName, message, kind) {}

FlowbookFileWriterGenericException::~FlowbookFileWriterGenericException() = default;

FlowbookFileWriterInvalidRichCode::FlowbookFileWriterInvalidRichCode(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Invalid contents for Rich TARMIC Code", FlowbookErrorKind::Misuse) {}

FlowbookFileWriterInvalidRichCode::~FlowbookFileWriterInvalidRichCode() = default;

FlowbookFileWriterInvalidOutput::FlowbookFileWriterInvalidOutput(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Invalid contents for flowbook Output", FlowbookErrorKind::Misuse) {}

FlowbookFileWriterInvalidOutput::~FlowbookFileWriterInvalidOutput() = default;

FlowbookFileWriterInvalidImage::FlowbookFileWriterInvalidImage(const std::u16string& fileName)
    : FlowbookExceptionBase(fileName, "Invalid image properties", FlowbookErrorKind::Misuse) {}

FlowbookFileWriterInvalidImage::~FlowbookFileWriterInvalidImage() = default;

}  // namespace flowbook
