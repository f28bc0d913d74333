#pragma once

#include "opc/zippackage/DeflateCodec.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// Little-endian fields, each a width in bytes and a value.
inline std::string fields(const std::vector<std::pair<int, std::uint64_t>>& all) {
    std::string bytes;
    for (const auto& [width, value] : all) {
        for (int i = 0; i < width; ++i) {
            bytes += static_cast<char>(value >> (8 * i) & 0xFF);
        }
    }
    return bytes;
}

/// What a local header and a directory record have in common. Every field may be made to lie.
struct ZipHeader {
    std::string bytes() const {
        return fields({{2, versionNeeded}, {2, flags}, {2, method}, {2, time}, {2, date}, {4, crc}, {4, storedSize}}) +
               fields({{4, size}, {2, name.size()}, {2, extra.size()}});
    }

    std::string name;
    std::uint32_t crc, storedSize, size;
    std::uint16_t method, versionNeeded = 20, flags = 0, time = 0, date = 33;
    std::string extra = {};
};

struct BuiltEntry {
    /// Tells the truth. Deflated when that is asked for.
    BuiltEntry(const std::string& name, const std::string& content, bool deflated = false)
        : data(deflated ? opc::zippackage::DeflateCodec().deflate(content) : content),
          local{name, opc::zippackage::DeflateCodec::checksum(content), static_cast<std::uint32_t>(data.size()),
                static_cast<std::uint32_t>(content.size()), static_cast<std::uint16_t>(deflated ? 8 : 0)} {}

    template <class Change>
    void change(const Change& both) {
        both(local);
        both(central);
    }

    std::string localBytes() const { return "PK\3\4" + local.bytes() + local.name + local.extra + data + after; }

    std::string centralBytes(std::uint64_t trueOffset) const {
        return "PK\1\2" + fields({{2, versionMadeBy}}) + central.bytes() +
               fields({{2, comment.size()}, {2, disk}, {2, internalAttributes}, {4, externalAttributes}}) +
               fields({{4, offset.value_or(trueOffset)}}) + central.name + central.extra + comment;
    }

    std::string data, comment;
    std::string after;  ///< a data descriptor, or a gap
    ZipHeader local, central = local;
    std::uint16_t versionMadeBy = 20, disk = 0, internalAttributes = 0;
    std::uint32_t externalAttributes = 0;
    std::optional<std::uint32_t> offset;  ///< in place of the true one
};

/// A zip container, well-formed unless told otherwise.
struct ZipFile {
    std::string bytes() const {
        std::string result, directory;
        for (const BuiltEntry& entry : entries) {
            directory += entry.centralBytes(result.size());
            result += entry.localBytes();
        }
        directory += afterDirectory;
        const std::uint64_t count = entries.size(), size = directory.size(), offset = result.size();
        std::string end = "PK\6\6" + fields({{8, 44}, {2, 45}, {2, 45}, {8, 0}, {8, count}, {8, count}, {8, size}}) +
                          fields({{8, offset}}) + "PK\6\7" + fields({{4, 0}, {8, offset + size}, {4, 1}}) + "PK\5\6" +
                          fields({{4, 0}, {2, count}, {2, count}, {4, size}, {4, offset}, {2, comment.size()}});
        for (const auto& [at, bytes] : forged) {
            end.replace(at, bytes.size(), bytes);
        }
        return before + result + directory + beforeEnd + end.substr(zip64 ? 0 : 76) + comment + after;
    }

    std::vector<BuiltEntry> entries;
    std::string before;          ///< data in front of everything, which offsets do not count
    std::string afterDirectory;  ///< counted to the directory
    std::string beforeEnd;       ///< not counted to anything
    std::string comment, after;
    bool zip64 = false;
    /// Bytes in the end records by place: 0 is the zip64 end record, 56 its locator, 76 the end record.
    std::map<std::size_t, std::string> forged;
};

/// A zip64 extra field of 64-bit values.
inline std::string zip64Field(const std::vector<std::uint64_t>& values) {
    std::string field = fields({{2, 1}, {2, 8 * values.size()}});
    for (const std::uint64_t value : values) {
        field += fields({{8, value}});
    }
    return field;
}

}  // namespace support
