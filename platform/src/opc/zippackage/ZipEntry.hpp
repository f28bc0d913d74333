#pragma once

#include "opc/zippackage/ZipFormat.hpp"

#include <string_view>

namespace opc::zippackage {

/// One record of the central directory, zip64 fields resolved. The texts are views of bytes held elsewhere.
struct ZipEntry {
    std::uint16_t versionMadeBy = kVersionPlain;
    std::uint16_t versionNeeded = kVersionPlain;
    std::uint16_t flags = 0;
    std::uint16_t method = kStored;
    std::uint16_t time = 0;
    std::uint16_t date = kFixedDate;
    std::uint32_t crc = 0;
    std::uint64_t storedSize = 0;
    std::uint64_t size = 0;
    std::uint16_t internalAttributes = 0;
    std::uint32_t externalAttributes = 0;
    std::uint64_t offset = 0;  ///< of the local header
    std::uint64_t end = 0;     ///< where the next entry or the directory begins
    std::string_view name;
    std::string_view extra;
    std::string_view comment;
};

}  // namespace opc::zippackage
