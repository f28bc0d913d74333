#pragma once

#include "foundation/storage/vfs/Replacement.hpp"
#include "opc/Limits.hpp"
#include "opc/interfaces/CompressionType.hpp"
#include "opc/zippackage/DeflateCodec.hpp"
#include "opc/zippackage/Fields.hpp"
#include "opc/zippackage/ZipEntryReader.hpp"

#include <string>
#include <vector>

namespace opc::zippackage {

/// Writes a container, entry after entry. Failures are opc::Exception; afterwards it can only be discarded.
class ZipWriter {
public:
    /// @param doing  begins every message. @param out, codec, limits  outlive the object.
    ZipWriter(std::string doing, foundation::storage::vfs::Replacement& out, DeflateCodec& codec, const Limits& limits,
              Zip64From zip64From = Zip64From());

    void addContent(std::string_view name, const fl::Bytes& content, interfaces::CompressionType compression);

    /// Takes over the data of another container's entry, unread; entries that follow each other there, at once.
    /// @param input  outlives the object.
    void addCarried(const ZipInput& input, const ZipEntry& entry, const ZipEntryReader::Place& place);

    /// Writes the directory, the end records and all that is still held back.
    void finish(std::string_view comment);

private:
    bool needsZip64(std::uint64_t value) const noexcept { return value >= zip64From_.value; }
    bool hasWideSizes(const ZipEntry& entry) const noexcept;
    std::string extraOf(const ZipEntry& entry, std::string_view others, bool inDirectory) const;
    std::string addHeaders(ZipEntry entry, std::string_view localExtra);
    void putShared(FieldWriter& fields, const ZipEntry& entry, std::size_t extraSize) const;
    std::string localHeader(const ZipEntry& entry, std::string_view otherExtra) const;
    void putCentral(const ZipEntry& entry);
    void putZip64End(FieldWriter& fields) const;
    void put(std::string_view bytes);
    void carry(const ZipInput& input, std::uint64_t offset, std::uint64_t count);
    void copyCarried();

    std::string doing_;
    foundation::storage::vfs::Replacement& out_;
    DeflateCodec& codec_;
    const Limits& limits_;
    Zip64From zip64From_;
    const ZipInput* carriedFrom_ = nullptr;  ///< null when nothing waits to be copied
    std::uint64_t carriedOffset_ = 0;
    std::uint64_t carriedCount_ = 0;
    std::uint64_t position_ = 0;
    std::uint64_t count_ = 0;
    std::string directory_;
};

}  // namespace opc::zippackage
