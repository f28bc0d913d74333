#pragma once

#include "flowbook/FlowbookExport.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"
#include "opc/OutputStream.hpp"

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstddef>
#include <memory>
#include <string>

namespace flowbook {

/// A flowbook file, open for reading from construction to destruction. The file is never written. It
/// keeps answering from the version that was opened, also when another program replaces the file.
///
/// One reader is used by one thread at a time, even for const calls, which fill caches; separate
/// readers share nothing.
///
/// Wherever the code part is looked for, a file without one gives FlowbookNotFound and a failure of
/// the package library FlowbookFileReaderGenericException. Damage that shows only when a part is read
/// (sizes, checksum, XML of a relationships part) is an opc::Exception.
class PXFLOWBOOK_EXPORT FlowbookFileReader {
public:
    /// Opens a file of the machine's file system.
    /// @throws FlowbookInvalidFileName when the name ends neither in ".tqx" nor in ".tqapp" (in any letter
    ///         case), before the file is touched; FlowbookFileReaderPackageNotFound when there is no
    ///         such file; FlowbookFileReaderGenericException when it is no package, or is damaged.
    explicit FlowbookFileReader(const std::u16string& fileName);

    /// As above, with the name resolved in a storage system.
    FlowbookFileReader(const std::u16string& fileName, const foundation::storage::vfs::StorageSystemReference& storage);

    FlowbookFileReader(const FlowbookFileReader&) = delete;
    FlowbookFileReader& operator=(const FlowbookFileReader&) = delete;
    ~FlowbookFileReader();

    /// The plain code: the code paragraphs of the document part, one a line, joined by line feeds.
    /// @throws FlowbookNotFound also when the part is not an XML document; FlowbookEncrypted.
    std::u16string getTARMICCode() const;

    /// The document part's text as it is stored.
    /// @throws FlowbookEncrypted; fl::i18n::ConversionError when the part is not UTF-8.
    std::u16string getRichTARMICCode() const;

    /// Writes the stored bytes of encrypted code, which the library never decrypts, to `out`.
    /// @throws FlowbookNotEncrypted; nothing has been written then.
    void getEncryptedRichTARMICCode(opc::OutputStream& out) const;

    /// Whether the document part was written from plain code text.
    bool isPlainCode() const;

    /// The core properties, read anew on each call. An absent one (but for the release, which is then
    /// empty) gives FlowbookPropertyNotFound, an empty one the empty string, a faulty one, such as a date
    /// that is none, opc::Exception, which names the part, the element and its value; the others can be read.
    std::u16string getTitle() const;
    std::u16string getDescription() const;
    std::u16string getVersion() const;
    std::u16string getTARMICRelease() const;
    boost::posix_time::ptime getCreatedTime() const;       ///< UTC
    boost::posix_time::ptime getLastModifiedTime() const;  ///< UTC

    /// The whole flowbook in memory: the parts that the flowbook's package relationships lead to, the
    /// parts that those refer to, and the relationships of them all. A part reached twice is in it
    /// twice. @throws opc::Exception when a relationship leads to no part of the package;
    ///         FlowbookFileReaderGenericException (of kind "limit") when parts that are reached again would add more
    ///         than kMaxRepeatedBytes to the snapshot, so that a small file cannot fill the memory.
    FlowbookFilePackage read() const;

    /// Bytes of content, names and relationships.
    static constexpr std::size_t kMaxRepeatedBytes = std::size_t{256} << 20;

private:
    class FlowbookFileReaderImpl;
    std::unique_ptr<FlowbookFileReaderImpl> impl_;
};

}  // namespace flowbook
