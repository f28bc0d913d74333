// Extra fields: a list of numbered fields (APPNOTE 4.5). Only two of them matter here; the others are carried as they
// are.
#include "opc/zippackage/ZipExtra.hpp"

#include "opc/zippackage/Fields.hpp"
#include "opc/zippackage/ZipFormat.hpp"

#include <algorithm>

namespace opc::zippackage {
namespace {

// What precedes the name in a Unicode path field: a version, and the checksum of the name in the header.
constexpr std::size_t kBeforeUnicodePath = 5;

}  // namespace

std::optional<ZipExtra> parseExtra(std::string_view bytes) {
    constexpr std::size_t kHeadSize = 4;
    ZipExtra result{bytes, std::nullopt, {}, std::nullopt};
    FieldReader fields(bytes);
    while (fields.remaining() != 0) {
        const std::size_t start = bytes.size() - fields.remaining();
        if (fields.remaining() < kHeadSize) {
            return std::nullopt;
        }
        const std::uint16_t id = fields.u16();
        const std::uint16_t size = fields.u16();
        // Of two fields of one kind, readers take the first or the last.
        const bool isTwice = (id == kZip64ExtraId && result.zip64) || (id == kUnicodePathExtraId && result.unicodePath);
        if (fields.remaining() < size || isTwice) {
            return std::nullopt;
        }
        const std::string_view data = fields.bytes(size);
        if (id == kZip64ExtraId) {
            result.before = bytes.substr(0, start);
            result.zip64 = data;
            result.after = bytes.substr(start + kHeadSize + size);
        } else if (id == kUnicodePathExtraId) {
            result.unicodePath = data.substr(std::min(data.size(), kBeforeUnicodePath));
        }
    }
    return result;
}

bool takeZip64(std::string_view& data, std::uint64_t& value) {
    if (value != kOnes32) {
        return true;
    }
    if (data.size() < sizeof(value)) {
        return false;
    }
    FieldReader fields(data);
    value = fields.u64();
    data.remove_prefix(sizeof(value));
    return true;
}

}  // namespace opc::zippackage
