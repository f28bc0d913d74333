#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace opc::zippackage {

/// The extra fields of a local header or directory record, split at the one field that is written anew.
struct ZipExtra {
    std::string_view before;
    std::optional<std::string_view> zip64;  ///< the data of the zip64 field
    std::string_view after;
    std::optional<std::string_view> unicodePath;  ///< the name in the Unicode path field

    /// Whether some readers would see the entry under another name. The field counts only where its checksum of the
    /// header's name is right, but not all readers look at that, so it does not matter here.
    bool renames(std::string_view name) const { return unicodePath.value_or(name) != name; }
};

/// Nothing when the fields do not fill the bytes exactly, or a field of interest is there twice.
std::optional<ZipExtra> parseExtra(std::string_view bytes);

/// Takes a value from the front of the zip64 data if its own field was all ones (APPNOTE 4.5.3): the data holds only
/// values that did not fit, in a fixed order. @returns false when the value is needed and not there.
bool takeZip64(std::string_view& data, std::uint64_t& value);

}  // namespace opc::zippackage
