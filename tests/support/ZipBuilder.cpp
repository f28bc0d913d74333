#include "support/ZipBuilder.hpp"

#include "opc/zippackage/DeflateCodec.hpp"
#include "opc/zippackage/FieldWriter.hpp"

namespace support {

using opc::zippackage::DeflateCodec;
using opc::zippackage::FieldWriter;

namespace {

std::uint64_t sum(std::uint64_t truth, std::int64_t lie) { return truth + static_cast<std::uint64_t>(lie); }
std::uint32_t sum32(std::uint64_t truth, std::int64_t lie = 0) { return static_cast<std::uint32_t>(sum(truth, lie)); }
std::uint16_t sum16(std::uint64_t truth, std::int64_t lie = 0) { return static_cast<std::uint16_t>(sum(truth, lie)); }

void putHeader(FieldWriter& to, const ZipHeader& header) {
    to.u16(header.versionNeeded).u16(header.flags).u16(header.method).u16(header.time).u16(header.date);
    to.u32(header.crc).u32(header.storedSize).u32(header.size);
    to.u16(sum16(header.name.size())).u16(sum16(header.extra.size()));
}

void putLocal(FieldWriter& to, const ZipItem& item) {
    to.u32(item.local.signature);
    putHeader(to, item.local);
    to.bytes(item.local.name).bytes(item.local.extra).bytes(item.data).bytes(item.after);
}

void putCentral(FieldWriter& to, const ZipItem& item, std::uint32_t offset) {
    to.u32(item.central.signature).u16(item.versionMadeBy);
    putHeader(to, item.central);
    to.u16(sum16(item.comment.size())).u16(item.disk).u16(item.internalAttributes).u32(item.externalAttributes);
    to.u32(item.offset.value_or(offset)).bytes(item.central.name).bytes(item.central.extra).bytes(item.comment);
}

}  // namespace

ZipItem::ZipItem(const std::string& name, const std::string& content, bool deflated)
    : data(deflated ? DeflateCodec().deflate(content) : content) {
    change([&](ZipHeader& header) {
        header.name = name;
        header.method = deflated ? 8 : 0;
        header.crc = DeflateCodec::checksum(content);
        header.size = sum32(content.size());
        header.storedSize = sum32(data.size());
    });
    local.signature = 0x04034b50;
    central.signature = 0x02014b50;
}

void ZipItem::change(const std::function<void(ZipHeader&)>& both) {
    both(local);
    both(central);
}

std::string ZipFile::bytes() const {
    std::string result, directory;
    FieldWriter to(result), toDirectory(directory);
    for (const ZipItem& item : items) {
        putCentral(toDirectory, item, sum32(result.size()));
        putLocal(to, item);
    }
    directory += afterDirectory;
    const std::uint64_t count = items.size(), size = directory.size(), offset = result.size();
    to.bytes(directory).bytes(beforeEnd);
    if (zip64) {
        to.u32(sum32(0x06064b50, lie.signature64)).u64(sum(44, lie.size64)).u16(45).u16(45);
        to.u32(sum32(0, lie.disk64)).u32(sum32(0, lie.directoryDisk64));
        to.u64(sum(count, lie.countHere64)).u64(sum(count, lie.count64));
        to.u64(sum(size, lie.directorySize64)).u64(sum(offset, lie.directoryOffset64));
        to.u32(0x07064b50).u32(sum32(0, lie.locatorDisk)).u64(sum(offset + size, lie.offset64));
        to.u32(sum32(1, lie.disks));
    }
    to.u32(0x06054b50).u16(sum16(0, lie.disk)).u16(sum16(0, lie.directoryDisk));
    to.u16(sum16(count, lie.countHere)).u16(sum16(count, lie.count));
    to.u32(sum32(size, lie.directorySize)).u32(sum32(offset, lie.directoryOffset));
    to.u16(sum16(comment.size())).bytes(comment).bytes(after);
    return before + result;
}

std::string zip64Field(const std::vector<std::uint64_t>& values) {
    std::string field;
    FieldWriter to(field);
    to.u16(1).u16(sum16(8 * values.size()));
    for (const std::uint64_t value : values) {
        to.u64(value);
    }
    return field;
}

}  // namespace support
