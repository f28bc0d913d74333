// What all storages share: the default of Replacement::append(), and the test for names that are no paths.
#include "fl/Ascii.hpp"
#include "foundation/storage/vfs/Replacement.hpp"
#include "foundation/storage/vfs/hasIRIPrefix.hpp"

#include <algorithm>
#include <string_view>
#include <vector>

namespace foundation::storage::vfs {
namespace {

using fl::ascii::isLetter;

/// What a scheme may consist of after its first letter (RFC 3986, 3.1).
bool isSchemeUnit(char16_t unit) {
    return isLetter(unit) || fl::ascii::isDigit(unit) || unit == u'+' || unit == u'-' || unit == u'.';
}

}  // namespace

void Replacement::append(const ReadableFile& source, std::uint64_t offset, std::uint64_t count) {
    constexpr std::uint64_t kAtOnce = std::uint64_t{64} << 10;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min(count, kAtOnce)));
    while (count != 0) {
        const auto size = static_cast<std::size_t>(std::min(count, kAtOnce));
        source.read(offset, bytes.data(), size);
        write(bytes.data(), size);
        offset += size;
        count -= size;
    }
}

bool hasIRIPrefix(const std::u16string& name) {
    constexpr std::u16string_view kAfterScheme = u"://";
    const auto schemeEnd = std::find_if_not(name.begin(), name.end(), isSchemeUnit);
    return !name.empty() && isLetter(name.front()) &&
           name.compare(static_cast<std::size_t>(schemeEnd - name.begin()), kAfterScheme.size(), kAfterScheme) == 0;
}

}  // namespace foundation::storage::vfs
