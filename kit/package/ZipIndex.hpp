#pragma once

#include "fl/Bytes.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// What the index of a zip file records of one entry (APPNOTE 6.3, 4.3.12).
struct ZipRecord {
    std::string name;
    unsigned version = 0;  ///< that is needed to read it
    unsigned flags = 0;
    unsigned method = 0;
    std::uint64_t crc = 0;
    std::uint64_t storedSize = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0;  ///< of the local header
    std::size_t at = 0;        ///< where this record lies
};

/// What is left of the index of a zip file.
struct ZipIndex {
    std::vector<ZipRecord> records;  ///< in their order
    std::size_t begin = 0;           ///< where the first record lies; the end of the file when there is none
    std::uint64_t shift = 0;         ///< by how much all lies behind the recorded offsets, modulo 2^64
    /// Whether the records follow each other from where the last entry ends to the end record, and are as many as that
    /// says. Then no record is missing.
    bool isWhole = false;
};

/// Takes the numbers that a record leaves to a zip64 field (APPNOTE 6.3, 4.5.3).
/// @param extra  the extra fields of the record or local header.
void takeZip64(ZipRecord& record, std::string_view extra);

/// Reads the records that lie behind the last local header that one of them leads to; others belong to a zip file
/// that an entry holds.
ZipIndex readZipIndex(std::string_view bytes);

}  // namespace flowbook::kit
