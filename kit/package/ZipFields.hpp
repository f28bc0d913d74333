#pragma once

#include <cstdint>
#include <string_view>

namespace flowbook::kit {

/// What a zip file is made of (APPNOTE 6.3, 4.3). Numbers are little-endian.
inline constexpr std::string_view kLocalHeader = "PK\3\4";
inline constexpr std::string_view kIndexRecord = "PK\1\2";
inline constexpr std::string_view kDescriptor = "PK\7\10";
inline constexpr std::string_view kEndRecord = "PK\5\6";
inline constexpr std::string_view kZip64EndRecord = "PK\6\6";
inline constexpr std::size_t kLocalSize = 30;
inline constexpr std::size_t kIndexSize = 46;
inline constexpr std::size_t kEndSize = 22;
inline constexpr unsigned kDeflated = 8;  ///< the method; 0 is that of stored data
/// Stands for a size or an offset that a zip64 field holds.
inline constexpr std::uint64_t kInZip64 = 0xFFFFFFFF;

/// The number of `width` bytes at a place that the caller knows to be inside.
inline std::uint64_t zipNumber(std::string_view bytes, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    }
    return value;
}

inline bool zipStandsAt(std::string_view bytes, std::size_t at, std::string_view signature) {
    return at <= bytes.size() && bytes.substr(at, signature.size()) == signature;
}

}  // namespace flowbook::kit
