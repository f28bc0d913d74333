#pragma once

#include "opc/Limits.hpp"
#include "opc/zippackage/Fields.hpp"
#include "opc/zippackage/ZipFormat.hpp"
#include "opc/zippackage/ZipInput.hpp"
#include "opc/zippackage/ZipLimitCheck.hpp"

#include <vector>

namespace opc::zippackage {

/// The index of a container; its texts are views of what the input holds.
struct ZipIndex {
    std::vector<ZipEntry> entries;  ///< in the order of the directory, without the folders
    std::vector<ZipEntry> folders;  ///< which hold nothing and are only carried over
    std::string_view comment;
};

/// Reads the index of a container, and refuses one that two readers could understand differently. Used once.
class ZipIndexReader {
public:
    /// @param input, limits  outlive the object, the input also the index.
    ZipIndexReader(ZipInput& input, const Limits& limits);

    /// @throws opc::Exception, kind Damaged, LimitExceeded or InputOutput.
    ZipIndex read();

private:
    struct EndRecord {
        std::uint64_t position;  ///< of the record that every container has
        std::uint64_t start;     ///< of the zip64 record, or else the same
        std::uint64_t entries;
        std::uint64_t directorySize;
        std::uint64_t directoryOffset;
    };

    std::uint64_t findEndRecord() const;
    std::uint64_t commentSize(std::uint64_t position) const;
    bool reachesEnd(std::uint64_t position) const;
    EndRecord readEndRecord() const;
    bool hasZip64(const EndRecord& end) const;
    void readZip64(EndRecord& end) const;
    void checkDirectoryPlace(const EndRecord& end) const;
    void readDirectory(const EndRecord& end, std::vector<ZipEntry>& entries);
    ZipEntry readEntry(FieldReader& directory, std::size_t number) const;
    void resolveZip64(ZipEntry& entry, std::uint16_t disk) const;
    void checkEntry(const ZipEntry& entry) const;
    void checkNames(const std::vector<ZipEntry>& entries) const;
    void checkPlaces(std::vector<ZipEntry>& entries, std::uint64_t directoryOffset) const;

    ZipInput& input_;
    ZipLimitCheck limitCheck_;
};

}  // namespace opc::zippackage
