// Writes containers in one pass, with no field that has to be set later: sizes and checksums are known before a local
// header is written, so data descriptors are never needed, and those of carried entries are dropped. Zip64 fields
// appear only where a value needs them, as not every program reads them.
#include "opc/zippackage/ZipWriter.hpp"

#include "fl/Ascii.hpp"
#include "opc/MessageText.hpp"
#include "opc/StorageErrors.hpp"
#include "opc/zippackage/ZipExtra.hpp"
#include "opc/zippackage/ZipLimitCheck.hpp"

#include <algorithm>
#include <utility>

namespace opc::zippackage {
namespace {

std::uint16_t narrow16(std::uint64_t value, bool wide) { return wide ? kOnes16 : static_cast<std::uint16_t>(value); }
std::uint32_t narrow32(std::uint64_t value, bool wide) { return wide ? kOnes32 : static_cast<std::uint32_t>(value); }

}  // namespace

ZipWriter::ZipWriter(std::string doing, foundation::storage::vfs::Replacement& out, DeflateCodec& codec,
                     const Limits& limits, Zip64From zip64From)
    : doing_(std::move(doing)), out_(out), codec_(codec), limits_(limits), zip64From_(zip64From) {}

void ZipWriter::addContent(std::string_view name, const fl::Bytes& content, interfaces::CompressionType compression) {
    ZipEntry entry;
    entry.name = name;
    entry.flags = fl::ascii::isAscii(name) ? 0 : kUtf8Flag;
    entry.size = content.size();
    std::string_view data = asText(content);
    entry.crc = DeflateCodec::checksum(data);
    if (compression == interfaces::CompressionType::Normal) {
        const std::string_view deflated = codec_.deflate(data);
        // A content that deflates too well would look like a bomb to the reader, so it is stored.
        if (!deflated.empty() && !ZipLimitCheck::exceedsRatio(limits_, entry.size, deflated.size())) {
            data = deflated;
            entry.method = kDeflated;
        }
    }
    entry.storedSize = data.size();
    put(addHeaders(entry, {}));
    put(data);
}

/// Takes over an entry in the cheapest way that gives right bytes: from memory where it is held; as one range with its
/// header where the header stays the same; else with a new header and a range of data alone.
void ZipWriter::addCarried(const ZipInput& input, const ZipEntry& entry, const ZipEntryReader::Place& place) {
    const std::string header = addHeaders(entry, place.extra);
    if (place.dataOffset >= input.heldFrom()) {
        put(header);
        put(input.held(place.dataOffset, entry.storedSize));
    } else if (header == place.header) {
        carry(input, entry.offset, header.size() + entry.storedSize);
    } else {
        put(header);
        carry(input, place.dataOffset, entry.storedSize);
    }
}

/// Writes the directory and the end records. The limit is checked before: a directory that is too large could not be
/// read again.
void ZipWriter::finish(std::string_view comment) {
    ZipLimitCheck(doing_, limits_).checkDirectory(directory_.size());
    const std::uint64_t offset = position_;
    const bool manyEntries = count_ >= zip64From_.count;
    std::string end;
    FieldWriter fields(end);
    if (manyEntries || needsZip64(offset) || needsZip64(directory_.size())) {
        putZip64End(fields);
    }
    fields.u32(kEndSignature).u16(0).u16(0);
    fields.u16(narrow16(count_, manyEntries)).u16(narrow16(count_, manyEntries));
    fields.u32(narrow32(directory_.size(), needsZip64(directory_.size()))).u32(narrow32(offset, needsZip64(offset)));
    fields.u16(static_cast<std::uint16_t>(comment.size())).bytes(comment);
    put(directory_);
    put(end);
}

void ZipWriter::putZip64End(FieldWriter& fields) const {
    fields.u32(kZip64EndSignature).u64(kZip64EndSize - 12).u16(kVersionZip64).u16(kVersionZip64).u32(0).u32(0);
    fields.u64(count_).u64(count_).u64(directory_.size()).u64(position_);
    fields.u32(kZip64LocatorSignature).u32(0).u64(position_ + directory_.size()).u32(1);
}

/// Adds the directory's record of an entry. @returns the local header, which the caller writes next.
std::string ZipWriter::addHeaders(ZipEntry entry, std::string_view localExtra) {
    entry.offset = position_;
    entry.flags = static_cast<std::uint16_t>(entry.flags & ~kDataDescriptorFlag);
    if (hasWideSizes(entry) || needsZip64(entry.offset)) {
        entry.versionNeeded = std::max(entry.versionNeeded, kVersionZip64);
    }
    putCentral(entry);
    ++count_;
    return localHeader(entry, localExtra);
}

std::string ZipWriter::localHeader(const ZipEntry& entry, std::string_view otherExtra) const {
    const std::string extra = extraOf(entry, otherExtra, false);
    std::string header;
    FieldWriter fields(header);
    fields.u32(kLocalSignature);
    putShared(fields, entry, extra.size());
    fields.bytes(entry.name).bytes(extra);
    return header;
}

void ZipWriter::putCentral(const ZipEntry& entry) {
    const std::string extra = extraOf(entry, entry.extra, true);
    FieldWriter fields(directory_);
    fields.u32(kCentralSignature).u16(entry.versionMadeBy);
    putShared(fields, entry, extra.size());
    fields.u16(static_cast<std::uint16_t>(entry.comment.size())).u16(0);
    fields.u16(entry.internalAttributes).u32(entry.externalAttributes);
    fields.u32(narrow32(entry.offset, needsZip64(entry.offset)));
    fields.bytes(entry.name).bytes(extra).bytes(entry.comment);
}

/// The fields that local header and directory record have in common.
void ZipWriter::putShared(FieldWriter& fields, const ZipEntry& entry, std::size_t extraSize) const {
    const bool wide = hasWideSizes(entry);
    fields.u16(entry.versionNeeded).u16(entry.flags).u16(entry.method).u16(entry.time).u16(entry.date);
    fields.u32(entry.crc).u32(narrow32(entry.storedSize, wide)).u32(narrow32(entry.size, wide));
    fields.u16(static_cast<std::uint16_t>(entry.name.size())).u16(static_cast<std::uint16_t>(extraSize));
}

bool ZipWriter::hasWideSizes(const ZipEntry& entry) const noexcept {
    return needsZip64(entry.size) || needsZip64(entry.storedSize);
}

/// Returns a zip64 field if one is needed, and the other fields as they were. The field always comes first, and an old
/// one is dropped: its values belong to the old place.
std::string ZipWriter::extraOf(const ZipEntry& entry, std::string_view others, bool inDirectory) const {
    std::string wide;
    FieldWriter values(wide);
    if (hasWideSizes(entry)) {
        values.u64(entry.size).u64(entry.storedSize);
    }
    if (inDirectory && needsZip64(entry.offset)) {
        values.u64(entry.offset);
    }
    std::string extra;
    if (!wide.empty()) {
        FieldWriter(extra).u16(kZip64ExtraId).u16(static_cast<std::uint16_t>(wide.size())).bytes(wide);
    }
    if (const auto parsed = parseExtra(others)) {
        extra.append(parsed->before).append(parsed->after);
    }
    if (extra.size() > kOnes16) {
        throw Exception(ErrorKind::LimitExceeded,
                        text(doing_, "entry ", quoted(entry.name), " has no room for its zip64 field"),
                        partOf(entry.name));
    }
    return extra;
}

void ZipWriter::put(std::string_view bytes) {
    copyCarried();
    position_ += bytes.size();
    translatingStorageErrors(doing_, [&] { out_.write(bytes.data(), bytes.size()); });
}

/// Notes a range of the old file to be copied, and joins it to the one before where they touch. The storage can copy
/// one long range much faster than many short ones.
void ZipWriter::carry(const ZipInput& input, std::uint64_t offset, std::uint64_t count) {
    if (carriedFrom_ != &input || carriedOffset_ + carriedCount_ != offset) {
        copyCarried();
        carriedFrom_ = &input;
        carriedOffset_ = offset;
        carriedCount_ = 0;
    }
    carriedCount_ += count;
    position_ += count;
}

void ZipWriter::copyCarried() {
    if (const ZipInput* const from = std::exchange(carriedFrom_, nullptr)) {
        translatingStorageErrors(doing_, [&] { out_.append(from->file(), carriedOffset_, carriedCount_); });
    }
}

}  // namespace opc::zippackage
