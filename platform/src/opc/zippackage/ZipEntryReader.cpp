// Reads single entries. The index decides what an entry is; its local header must agree, as some readers go by the one
// and some by the other, and a file in which they differ would be two documents.
#include "opc/zippackage/ZipEntryReader.hpp"

#include "fl/Ascii.hpp"
#include "opc/MessageText.hpp"
#include "opc/zippackage/ZipExtra.hpp"

#include <algorithm>

namespace opc::zippackage {
namespace {

// Read along with the fixed part of a local header. Most headers have fewer bytes of extra fields, so that one access
// to the file is enough.
constexpr std::uint64_t kLikelyExtra = 128;

// The highest ratio that deflate can reach: two bits can stand for 258 bytes. What claims more is refused before memory
// is taken for it.
constexpr std::uint64_t kLargestDeflateRatio = 1032;

std::string hex(std::uint32_t number) { return "0x" + fl::ascii::hex(number, 8); }

}  // namespace

/// Works out where the data begins, which only the local header says: its extra fields may differ from those of the
/// index. That header and data fit between this entry and the next was checked with the sizes of the index; the
/// header's own sizes are checked here, before they are used.
ZipEntryReader::Place ZipEntryReader::locate(const ZipEntry& entry, ZipInput::Buffer& buffer) const {
    const std::uint64_t fixedSize = kLocalSize + entry.name.size();
    const std::uint64_t room = entry.end - entry.offset;
    std::string_view header = input_.view(entry.offset, std::min(room, fixedSize + kLikelyExtra), buffer);
    const std::uint16_t nameSize = FieldReader(header.substr(kLocalSize - 4)).u16();
    const std::uint16_t extraSize = FieldReader(header.substr(kLocalSize - 2)).u16();
    if (nameSize != entry.name.size() || room - fixedSize < extraSize ||
        room - fixedSize - extraSize < entry.storedSize) {
        damaged(entry, text("its local header with a name of ", nameSize, " and extra fields of ", extraSize,
                            " bytes leaves no room for its data"));
    }
    if (header.size() < fixedSize + extraSize) {
        header = input_.view(entry.offset, fixedSize + extraSize, buffer);
    }
    header = header.substr(0, fixedSize + extraSize);
    const std::string_view extra = header.substr(fixedSize);
    FieldReader fields(header);
    checkHeader(entry, fields, extra);
    return {entry.offset + header.size(), header, extra};
}

void ZipEntryReader::checkHeader(const ZipEntry& entry, FieldReader& fields, std::string_view extra) const {
    const bool isHeader = fields.u32() == kLocalSignature;
    fields.bytes(2);  // the version
    const std::uint16_t flags = fields.u16();
    const std::uint16_t method = fields.u16();
    fields.bytes(4);  // the time
    const std::uint32_t crc = fields.u32();
    std::uint64_t storedSize = fields.u32();
    std::uint64_t size = fields.u32();
    fields.bytes(4);  // the lengths
    const bool sameName = fields.bytes(entry.name.size()) == entry.name;
    if (!isHeader || !sameName || method != entry.method || (flags & kEncryptionFlags) != 0) {
        damaged(entry, "its local header is missing or not like the index");
    }
    takeExtra(entry, extra, size, storedSize);
    const bool describedLater = (flags & kDataDescriptorFlag) != 0;
    // A writer that did not know sizes and checksum in advance left them 0 here and put them behind the data, as the
    // flag says (APPNOTE 4.4.4). Those behind the data are not looked at: the index has them.
    const auto agrees = [describedLater](std::uint64_t here, std::uint64_t inIndex) {
        return here == inIndex || (describedLater && here == 0);
    };
    if (!agrees(crc, entry.crc) || !agrees(storedSize, entry.storedSize) || !agrees(size, entry.size)) {
        damaged(entry, text("its local header says ", storedSize, " stored bytes, ", size, " bytes, checksum ",
                            hex(crc), ", the index ", entry.storedSize, ", ", entry.size, ", ", hex(entry.crc)));
    }
}

void ZipEntryReader::takeExtra(const ZipEntry& entry, std::string_view extra, std::uint64_t& size,
                               std::uint64_t& storedSize) const {
    const auto parsed = parseExtra(extra);
    std::string_view wide = parsed ? parsed->zip64.value_or(std::string_view()) : std::string_view();
    if (!parsed || (parsed->zip64 && !(takeZip64(wide, size) && takeZip64(wide, storedSize)))) {
        damaged(entry, "the extra fields of its local header are malformed");
    }
    if (parsed->renames(entry.name)) {
        damaged(entry, "a field of its local header gives it another name");
    }
}

fl::Bytes ZipEntryReader::read(const ZipEntry& entry) const {
    if (entry.method != kStored && entry.method != kDeflated) {
        damaged(entry, text("compressed by method ", entry.method, ", which packages do not permit"));
    }
    ZipInput::Buffer buffer;
    const std::uint64_t dataOffset = locate(entry, buffer).dataOffset;
    fl::Bytes content = entry.method == kStored ? readStored(entry, dataOffset) : readDeflated(entry, dataOffset);
    const std::uint32_t crc = DeflateCodec::checksum(asText(content));
    if (crc != entry.crc) {
        damaged(entry, text("its content has the checksum ", hex(crc), ", the index says ", hex(entry.crc)));
    }
    return content;
}

fl::Bytes ZipEntryReader::readStored(const ZipEntry& entry, std::uint64_t dataOffset) const {
    if (entry.size != entry.storedSize) {
        damaged(entry, text("not compressed, but ", entry.size, " bytes stored in ", entry.storedSize));
    }
    fl::Bytes content(entry.size);
    input_.copy(dataOffset, entry.size, content.data());
    return content;
}

/// Inflates into exactly the size that the index says. Both numbers must be met: bytes that are left over, on either
/// side, are where another reader could find another content.
fl::Bytes ZipEntryReader::readDeflated(const ZipEntry& entry, std::uint64_t dataOffset) const {
    if (entry.size / kLargestDeflateRatio > entry.storedSize) {
        damaged(entry, text(entry.storedSize, " deflated bytes cannot be ", entry.size, " bytes"));
    }
    ZipInput::Buffer buffer;
    const std::string_view packed = input_.view(dataOffset, entry.storedSize, buffer);
    fl::Bytes content(entry.size);
    const auto inflated = DeflateCodec::inflate(packed, content);
    if (!inflated) {
        damaged(entry, text("its deflated data is invalid or inflates to more than the ", entry.size,
                            " bytes that the index says"));
    }
    if (inflated->produced != entry.size || inflated->consumed != entry.storedSize) {
        damaged(entry, text("inflates to ", inflated->produced, " bytes from ", inflated->consumed, ", the index says ",
                            entry.size, " from ", entry.storedSize));
    }
    return content;
}

void ZipEntryReader::damaged(const ZipEntry& entry, const std::string& found) const {
    input_.damaged(text("entry ", quoted(entry.name), " at offset ", entry.offset, ": ", found), entry.name);
}

}  // namespace opc::zippackage
