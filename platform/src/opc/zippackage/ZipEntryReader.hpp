#pragma once

#include "opc/zippackage/DeflateCodec.hpp"
#include "opc/zippackage/Fields.hpp"
#include "opc/zippackage/ZipFormat.hpp"
#include "opc/zippackage/ZipInput.hpp"

#include <vector>

namespace opc::zippackage {

/// Reads the entries of a container whose index was read. Failures are opc::Exception, kind Damaged or InputOutput.
class ZipEntryReader {
public:
    /// Where the data of an entry is, and its local header with the extra fields that end it.
    struct Place {
        std::uint64_t dataOffset;
        std::string_view header;
        std::string_view extra;
    };

    /// @param input  outlives the object.
    explicit ZipEntryReader(const ZipInput& input) : input_(input) {}

    /// Checks the local header against the index. @param buffer  may hold the header while the result is used.
    Place locate(const ZipEntry& entry, ZipInput::Buffer& buffer) const;

    fl::Bytes read(const ZipEntry& entry) const;

private:
    void checkHeader(const ZipEntry& entry, FieldReader& fields, std::string_view extra) const;
    void takeExtra(const ZipEntry& entry, std::string_view extra, std::uint64_t& size, std::uint64_t& storedSize) const;
    fl::Bytes readStored(const ZipEntry& entry, std::uint64_t dataOffset) const;
    fl::Bytes readDeflated(const ZipEntry& entry, std::uint64_t dataOffset) const;
    [[noreturn]] void damaged(const ZipEntry& entry, const std::string& found) const;

    const ZipInput& input_;
};

}  // namespace opc::zippackage
