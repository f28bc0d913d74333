#pragma once

#include "flowbook/FlowbookExport.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"
#include "opc/InputStream.hpp"

#include <memory>
#include <string>
#include <utility>

namespace flowbook {

/// Creates a flowbook file, or updates an existing one. Nothing reaches the file before close(false),
/// which puts the new version in the place of the old one at once and durably, or, when it fails,
/// leaves the old one as it was. A writer that is destroyed without close() changes nothing.
///
/// Any file name is accepted; only the reader insists on an extension. One writer is used by one
/// thread at a time; separate writers share nothing. Failures of the package library outside of
/// construction and close() pass through as opc::Exception; close(true) then drops what was done.
class PXFLOWBOOK_EXPORT FlowbookFileWriter {
public:
    /// Opens a file of the machine's file system for update, or prepares a new one when there is none,
    /// which is then made where its name points now, wherever the working directory is at close().
    /// @param contentTypeInfo  the content type and its friendly name that a new file's properties
    ///                         declare; two empty strings stand for "application/vnd.pellarion.tarmic.code"
    ///                         and "TARMIC Code". Not used for an existing file.
    /// @throws FlowbookFileReaderGenericException (the reader's class) when the file cannot be opened.
    FlowbookFileWriter(const std::u16string& fileName, std::pair<std::u16string, std::u16string> contentTypeInfo);

    /// As above, with the name resolved in a storage system. A name in a storage of one's own should be an
    /// address ("scheme://..."). That of an existing file which is not is first made canonical as a path
    /// of the machine's file system, which fails where there is no such path, and may give another name.
    FlowbookFileWriter(const std::u16string& fileName, const foundation::storage::vfs::StorageSystemReference& storage,
                       std::pair<std::u16string, std::u16string> contentTypeInfo);

    FlowbookFileWriter(const FlowbookFileWriter&) = delete;
    FlowbookFileWriter& operator=(const FlowbookFileWriter&) = delete;
    ~FlowbookFileWriter();

    /// Remember a property for close(false); what is never set stays as the file has it. A text that
    /// XML cannot hold, or that makes the part of the properties too large to be read again, makes close()
    /// fail, and so does any text when that part cannot be read.
    void setTitle(const std::u16string& title);
    void setDescription(const std::u16string& description);
    void setVersion(const std::u16string& version);

    /// Makes the text the file's code, as one paragraph of a rich code document marked as plain. What XML
    /// forbids is replaced first (FlowbookFileUtils::encodeControlCharacters).
    ///
    /// Carriage returns do not come back as written: an XML parser reports CR LF, and a CR alone, as a
    /// line feed (XML 1.0, 2.11). All other text does, "]]>" included.
    ///
    /// When this writer was given encrypted code before, the first call still writes that code; the
    /// next one writes the text.
    ///
    /// A part of another form is made anew, under its name and with its relationships, but for those whose targets are
    /// no URI references, which cannot be followed.
    ///
    /// A call that throws leaves the part as it was, and so does setEncryptedRichTARMICCode(). Only when memory runs
    /// out while the content is put in its place the part may be incomplete: close(false) then refuses until a call
    /// succeeds.
    /// @throws opc::Exception for a lone surrogate, which no UTF-8 document can hold.
    void setTARMICCode(const std::u16string& code);

    /// Makes an encrypted rich code stream, read to its end and never looked into, the file's code. What the stream
    /// throws passes through, before anything was changed.
    void setEncryptedRichTARMICCode(opc::InputStream& stream);

    /// Replaces the parts and relationships of the flowbook by those of a snapshot, unchecked; parts that
    /// no flowbook relationship leads to, and the core properties, stay. Package relationships and
    /// external ones get new ids; internal relationships of parts keep theirs.
    /// @throws opc::Exception, for example for a part name that is taken or not valid; the work done so
    ///         far stands until close(true).
    void write(const FlowbookFilePackage& snapshot);

    /// Adds one part with its relationships. @throws opc::Exception; when a relationship is refused, the part is there
    ///         without it and without content.
    void writePackagePart(const FlowbookFilePackage::Part& part);

    /// Adds one relationship to the package, under a new id. A call that throws has no effect.
    void writePackageRelationship(const FlowbookFilePackage::Relationship& relationship);

    /// Deletes the package relationships of a type, the parts they lead to, and the parts that those refer
    /// to. A type that the package does not use changes nothing. @throws opc::Exception when a relationship leads to no
    ///         part; what was deleted by then stays so until close(true).
    void deletePartByRelationshipType(const std::u16string& relationshipType);

    /// Ends the work: with false, writes the properties (the modification time and the release always,
    /// but for those whose part cannot be read, which stays as it is) and commits; with true, drops every change. The
    /// writer is then good for getBackupFileName() only.
    /// @throws FlowbookFileWriterGenericException when the package library fails. The file is then as it
    ///         was, but for one case, which the message names: it was replaced and could not be confirmed
    ///         durable.
    void close(bool revertChanges);

    /// The name of the backup of the old file that a commit has reported. close() keeps no backup, so it
    /// is always empty; it serves callers that ask it after every save.
    std::u16string getBackupFileName();

private:
    class FlowbookFileWriterImpl;
    std::unique_ptr<FlowbookFileWriterImpl> impl_;
};

}  // namespace flowbook
