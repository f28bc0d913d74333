#pragma once

#include "flowbook/FlowbookExport.hpp"

#include <stdexcept>
#include <string>
#include <string_view>

/// @file
/// Every failure that the library itself reports. Each class names one failure and carries the name
/// of the flowbook file concerned; the message and the file name are never joined.
///
/// The library throws these wrapped in the host's exception framework: what is thrown is caught as its
/// class, as FlowbookExceptionBase, as std::runtime_error and std::exception, and as
/// foundation::core::except::IInternalException. Failures of the package library
/// (opc::Exception) that happen outside of opening and closing a file pass through unwrapped.
///
/// kindOf() says of each of them, and of the other exceptions that a call may throw, what kind of failure it is, and
/// partOf() which part of the package it is about.
///
/// Exceptions are values that own their texts; they may be copied between threads.
namespace flowbook {

/// The kinds of failures. Callers decide by the kind what to do next.
enum class FlowbookErrorKind {
    NotFound,       ///< there is no such file
    InputOutput,    ///< the storage failed, or another cause outside of the file
    Damaged,        ///< the file is no flowbook, or breaks the rules of one
    LimitExceeded,  ///< the file is larger than the limits permit, or than the memory that there is
    Conflict,       ///< another program changed the file, or what is to be created exists
    NotDurable,     ///< saved, but not confirmed to survive power loss
    Misuse,         ///< an argument or the moment of the call is wrong
    Encrypted,      ///< readable code was asked of a file whose code is encrypted
    Absent          ///< the file is sound and does not hold what was asked for: a property, encrypted code
};

/// Returns the kind of a failure of the library: of a FlowbookExceptionBase, of an opc::Exception or of a
/// foundation::storage::vfs::StorageError, each of which a call may throw. std::bad_alloc is LimitExceeded, a
/// fl::i18n::ConversionError (a part is not in its encoding) is Damaged, and any other exception is InputOutput.
/// A package without its code part, or without a part that is referred to, is Damaged.
/// May be called by any thread.
PXFLOWBOOK_EXPORT FlowbookErrorKind kindOf(const std::exception& failure) noexcept;

/// Returns the kind as a word for programs: "not-found", "input-output", "damaged", "limit", "conflict", "not-durable",
/// "misuse", "encrypted" or "absent". The text lives as long as the process.
PXFLOWBOOK_EXPORT const char* nameOf(FlowbookErrorKind kind) noexcept;

/// Returns the name of the part that a failure of the library is about, as FlowbookExceptionBase::part() or
/// opc::Exception::part(); empty for any other exception. Valid as long as the failure. May be called by any thread.
PXFLOWBOOK_EXPORT std::string_view partOf(const std::exception& failure) noexcept;

/// Base of the family. Abstract.
class PXFLOWBOOK_EXPORT FlowbookExceptionBase : public std::runtime_error {
public:
    /// @param fileName  the name as the caller gave it to the reader or writer.
    /// @param message   UTF-8; what what() returns.
    FlowbookExceptionBase(const std::u16string& fileName, const std::string& message,
                          FlowbookErrorKind kind = FlowbookErrorKind::Damaged);
    FlowbookExceptionBase(const FlowbookExceptionBase& other) = default;
    FlowbookExceptionBase& operator=(const FlowbookExceptionBase& other) = default;
    ~FlowbookExceptionBase() override = 0;

    /// The flowbook file's name as the caller gave it; may be empty.
    std::u16string getFileName() const;

    /// What kind of failure it is.
    FlowbookErrorKind kind() const noexcept { return kind_; }

    /// The name of the part that the failure is about, such as "/tarmic/document.xml", UTF-8; empty when it is about
    /// the whole file, or the part is not known. An entry that is no part, such as "/[Content_Types].xml", is named
    /// likewise. Valid as long as the exception.
    std::string_view part() const noexcept { return part_; }

    /// @throws std::bad_alloc.
    void setPart(std::string_view part) { part_ = part; }

private:
    std::u16string fileName_;
    FlowbookErrorKind kind_;
    std::string part_;
};

/// The reader was given a name that ends neither in ".tqx" nor in ".tqapp".
class PXFLOWBOOK_EXPORT FlowbookInvalidFileName : public FlowbookExceptionBase {
public:
    explicit FlowbookInvalidFileName(const std::u16string& fileName);
    FlowbookInvalidFileName(const FlowbookInvalidFileName&) = default;
    ~FlowbookInvalidFileName() override;
};

/// The reader found no file to open.
class PXFLOWBOOK_EXPORT FlowbookFileReaderPackageNotFound : public FlowbookExceptionBase {
public:
    explicit FlowbookFileReaderPackageNotFound(const std::u16string& fileName);
    FlowbookFileReaderPackageNotFound(const FlowbookFileReaderPackageNotFound&) = default;
    ~FlowbookFileReaderPackageNotFound() override;
};

/// For callers that keep packages of their own; the library does not throw it.
class PXFLOWBOOK_EXPORT FlowbookFilePackageNotOpened : public FlowbookExceptionBase {
public:
    explicit FlowbookFilePackageNotOpened(const std::u16string& fileName);
    FlowbookFilePackageNotOpened(const FlowbookFilePackageNotOpened&) = default;
    ~FlowbookFilePackageNotOpened() override;
};

/// The file has no code part, its rich code is not an XML document, or it is one beyond the limits on what is parsed.
class PXFLOWBOOK_EXPORT FlowbookNotFound : public FlowbookExceptionBase {
public:
    explicit FlowbookNotFound(const std::u16string& fileName, FlowbookErrorKind kind = FlowbookErrorKind::Damaged);
    FlowbookNotFound(const FlowbookNotFound&) = default;
    ~FlowbookNotFound() override;
};

/// For callers that look for stored outputs; the library does not throw it.
class PXFLOWBOOK_EXPORT FlowbookOutputNotFound : public FlowbookExceptionBase {
public:
    explicit FlowbookOutputNotFound(const std::u16string& fileName);
    FlowbookOutputNotFound(const FlowbookOutputNotFound&) = default;
    ~FlowbookOutputNotFound() override;
};

/// For callers that look for stored images; the library does not throw it.
class PXFLOWBOOK_EXPORT FlowbookImageNotFound : public FlowbookExceptionBase {
public:
    explicit FlowbookImageNotFound(const std::u16string& fileName);
    FlowbookImageNotFound(const FlowbookImageNotFound&) = default;
    ~FlowbookImageNotFound() override;
};

/// Readable code was asked of a file whose code is encrypted.
class PXFLOWBOOK_EXPORT FlowbookEncrypted : public FlowbookExceptionBase {
public:
    explicit FlowbookEncrypted(const std::u16string& fileName);
    FlowbookEncrypted(const FlowbookEncrypted&) = default;
    ~FlowbookEncrypted() override;
};

/// Encrypted code was asked of a file whose code is not encrypted.
class PXFLOWBOOK_EXPORT FlowbookNotEncrypted : public FlowbookExceptionBase {
public:
    explicit FlowbookNotEncrypted(const std::u16string& fileName);
    FlowbookNotEncrypted(const FlowbookNotEncrypted&) = default;
    ~FlowbookNotEncrypted() override;
};

/// The file does not have the property that was asked for.
class PXFLOWBOOK_EXPORT FlowbookPropertyNotFound : public FlowbookExceptionBase {
public:
    /// @param propertyName  the label of the property, such as "Title".
    FlowbookPropertyNotFound(const std::u16string& fileName, const std::string& propertyName);
    FlowbookPropertyNotFound(const FlowbookPropertyNotFound&) = default;
    ~FlowbookPropertyNotFound() override;

    /// One of "Title", "Description", "Version", "TARMICRelease", "Created Time" and
    /// "Last Modified Time", where the library threw it.
    std::string getPropertyName() const;

private:
    std::string propertyName_;
};

/// Opening a file, or finding its code part, failed in the package library, whose text ends the
/// message. A writer that cannot open its file throws this class too.
class PXFLOWBOOK_EXPORT FlowbookFileReaderGenericException : public FlowbookExceptionBase {
public:
    FlowbookFileReaderGenericException(const std::u16string& fileName, const std::string& message,
                                       FlowbookErrorKind kind = FlowbookErrorKind::Damaged);
    FlowbookFileReaderGenericException(const FlowbookFileReaderGenericException&) = default;
    ~FlowbookFileReaderGenericException() override;
};

/// Closing a writer failed in the package library, whose text ends the message.
class PXFLOWBOOK_EXPORT FlowbookFileWriterGenericException : public FlowbookExceptionBase {
public:
    FlowbookFileWriterGenericException(const std::u16string& fileName, const std::string& message,
                                       FlowbookErrorKind kind = FlowbookErrorKind::Damaged);
    FlowbookFileWriterGenericException(const FlowbookFileWriterGenericException&) = default;
    ~FlowbookFileWriterGenericException() override;
};

/// For callers that check rich code before they write it; the library does not throw it.
class PXFLOWBOOK_EXPORT FlowbookFileWriterInvalidRichCode : public FlowbookExceptionBase {
public:
    explicit FlowbookFileWriterInvalidRichCode(const std::u16string& fileName);
    FlowbookFileWriterInvalidRichCode(const FlowbookFileWriterInvalidRichCode&) = default;
    ~FlowbookFileWriterInvalidRichCode() override;
};

/// For callers that check outputs before they write them; the library does not throw it.
class PXFLOWBOOK_EXPORT FlowbookFileWriterInvalidOutput : public FlowbookExceptionBase {
public:
    explicit FlowbookFileWriterInvalidOutput(const std::u16string& fileName);
    FlowbookFileWriterInvalidOutput(const FlowbookFileWriterInvalidOutput&) = default;
    ~FlowbookFileWriterInvalidOutput() override;
};

/// For callers that check images before they write them; the library does not throw it.
class PXFLOWBOOK_EXPORT FlowbookFileWriterInvalidImage : public FlowbookExceptionBase {
public:
    explicit FlowbookFileWriterInvalidImage(const std::u16string& fileName);
    FlowbookFileWriterInvalidImage(const FlowbookFileWriterInvalidImage&) = default;
    ~FlowbookFileWriterInvalidImage() override;
};

}  // namespace flowbook
