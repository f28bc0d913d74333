#pragma once

#include <cstdint>

namespace opc {

/// What a package may ask of the process that opens it; anything beyond is refused, naming the limit.
/// The same limits hold for what is written, so that whatever was saved can be opened again.
struct Limits {
    std::uint64_t maxEntries = 16384;
    std::uint64_t maxPartSize = std::uint64_t{1} << 30;     ///< bytes of one part, uncompressed
    std::uint64_t maxPackageSize = std::uint64_t{4} << 30;  ///< bytes of all entries, uncompressed
    /// Bytes of one part of package XML (content types, relationships, core properties).
    std::uint64_t maxPackageXmlSize = std::uint64_t{16} << 20;
    /// A part that inflates to more than this many times its stored size is taken for a bomb, but only
    /// when it is also larger than ratioFreeSize: small, very regular parts are common.
    std::uint64_t maxRatio = 1000;
    std::uint64_t ratioFreeSize = std::uint64_t{64} << 20;
};

}  // namespace opc
