#pragma once

#include <cstdint>

namespace opc {

/// What a package may ask of the process that opens it; anything beyond is refused with ErrorKind::LimitExceeded,
/// naming the limit. The same limits hold for what is written, so that everything that was saved can be opened again.
struct Limits {
    /// Entries of the container, folders included. Bounds the tables that an open package keeps.
    std::uint64_t maxEntries = 16384;

    /// Bytes of one entry, and of one part that lies in several, uncompressed. A part is held in memory whole
    /// while it is read or written.
    std::uint64_t maxPartSize = std::uint64_t{1} << 30;

    /// Bytes of all entries together, uncompressed.
    std::uint64_t maxPackageSize = std::uint64_t{4} << 30;

    /// Bytes of one part of package XML (content types, relationships, core properties). An open package takes
    /// some ten times as much memory for its relationships as their XML is long.
    std::uint64_t maxPackageXmlSize = std::uint64_t{16} << 20;

    /// Bytes of a part's name. The target of a relationship is resolved against the name of its source, so a small
    /// file of many relationships could otherwise come to gigabytes of names. Unchecked for entries that are
    /// no parts, which nothing is resolved against.
    std::uint64_t maxNameLength = 8192;

    /// A part that inflates to more than this many times its stored size is taken for a bomb, but only
    /// when it is also larger than ratioFreeSize (bytes): small, very regular parts are common.
    std::uint64_t maxRatio = 1000;
    std::uint64_t ratioFreeSize = std::uint64_t{64} << 20;

    // Of each document that opc::model::XercesHelper reads, for any parser: the memory that it takes with all its
    // tree, as estimated from the UTF-16 units of the document and its elements, attributes, texts and instructions;
    // the XML library finds names in tables of a fixed size, and it looks up a prefix in all elements that are open.
    // What goes beyond is an InvalidXMLDocument of kind LimitExceeded.
    static constexpr std::uint64_t kDomBytes = std::uint64_t{240} << 20;
    static constexpr std::uint64_t kDomBytesPerNode = 280;
    static constexpr std::uint64_t kDomBytesPerUnit = 9;
    static constexpr std::uint64_t kDomNames = 1024;      ///< different qualified names and namespaces
    static constexpr std::uint64_t kDomOpenNodes = 1024;  ///< elements within each other, with their attributes
};

}  // namespace opc
