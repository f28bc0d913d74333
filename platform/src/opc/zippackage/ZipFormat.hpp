#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace opc::zippackage {

// Record signatures and sizes without the variable fields, as APPNOTE 6.3, section 4.3, lays them out.
constexpr std::uint32_t kLocalSignature = 0x04034b50;
constexpr std::uint32_t kCentralSignature = 0x02014b50;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::uint32_t kZip64EndSignature = 0x06064b50;
constexpr std::uint32_t kZip64LocatorSignature = 0x07064b50;

constexpr std::size_t kLocalSize = 30;
constexpr std::size_t kCentralSize = 46;
constexpr std::size_t kEndSize = 22;
constexpr std::size_t kZip64EndSize = 56;
constexpr std::size_t kZip64LocatorSize = 20;

// A field of all ones sends the reader to the zip64 records.
constexpr std::uint16_t kOnes16 = 0xFFFF;
constexpr std::uint32_t kOnes32 = 0xFFFFFFFF;
constexpr std::uint16_t kZip64ExtraId = 1;
constexpr std::uint16_t kUnicodePathExtraId = 0x7075;

constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;

// Plainly encrypted, strongly encrypted, masked headers.
constexpr std::uint16_t kEncryptionFlags = 1U << 0 | 1U << 6 | 1U << 13;
constexpr std::uint16_t kDataDescriptorFlag = 1U << 3;
constexpr std::uint16_t kUtf8Flag = 1U << 11;

constexpr std::uint16_t kVersionPlain = 20;
constexpr std::uint16_t kVersionZip64 = 45;

/// From where on values take zip64 records. Only tests need lower ones.
struct Zip64From {
    std::uint64_t value = kOnes32;
    std::uint64_t count = kOnes16;
};

/// 1980-01-01, the first day that a container can express. All new entries have it, so that equal contents give equal
/// bytes whenever they are saved.
constexpr std::uint16_t kFixedDate = 1U << 5 | 1U;

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
