#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace opc::zippackage {

/// The extra fields of a local header or directory record, split at the one field that is of interest.
struct ZipExtra {
    std::string_view before;
    std::optional<std::string_view> zip64;  ///< the data of the zip64 field
    std::string_view after;
};

/// Nothing when the fields do not fill the bytes exactly or hold several zip64 fields.
std::optional<ZipExtra> parseExtra(std::string_view bytes);

/// Takes a size or offset from the front of the zip64 data if its own field was all ones. False when it is not there.
bool takeZip64(std::string_view& data, std::uint64_t& value);

}  // namespace opc::zippackage
