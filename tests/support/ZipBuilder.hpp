#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace support {

/// What a local header and a directory record have in common. Every field may be made to lie.
struct ZipHeader {
    std::uint32_t signature = 0;
    std::uint16_t versionNeeded = 20, flags = 0, method = 0, time = 0, date = 33;
    std::uint32_t crc = 0, storedSize = 0, size = 0;
    std::string name, extra;
};

struct ZipItem {
    /// Tells the truth. Deflated when that is asked for.
    ZipItem(const std::string& name, const std::string& content, bool deflated = false);

    void change(const std::function<void(ZipHeader&)>& both);

    ZipHeader local, central;
    std::string data, comment;
    std::string after;  ///< a data descriptor, or a gap
    std::uint16_t versionMadeBy = 20, disk = 0, internalAttributes = 0;
    std::uint32_t externalAttributes = 0;
    std::optional<std::uint32_t> offset;  ///< in place of the true one
};

/// What is added to the true values of the end records.
struct ZipEndLies {
    std::int64_t disk = 0, directoryDisk = 0, countHere = 0, count = 0, directorySize = 0, directoryOffset = 0;
    // Used only with zip64.
    std::int64_t signature64 = 0, size64 = 0, disk64 = 0, directoryDisk64 = 0, countHere64 = 0, count64 = 0,
                 directorySize64 = 0, directoryOffset64 = 0, locatorDisk = 0, offset64 = 0, disks = 0;
};

/// A zip container, well-formed unless told otherwise.
struct ZipFile {
    std::vector<ZipItem> items;
    std::string before;          ///< data in front of everything, which offsets do not count
    std::string afterDirectory;  ///< counted to the directory
    std::string beforeEnd;       ///< not counted to anything
    std::string comment, after;
    bool zip64 = false;
    ZipEndLies lie;

    std::string bytes() const;
};

/// A zip64 extra field of 64-bit values.
std::string zip64Field(const std::vector<std::uint64_t>& values);

}  // namespace support
