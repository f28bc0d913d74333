#include "foundation/storage/vfs/hasIRIPrefix.hpp"

#include "fl/Ascii.hpp"

#include <algorithm>
#include <string_view>

namespace foundation::storage::vfs {
namespace {

using fl::ascii::isLetter;

bool isSchemeUnit(char16_t unit) {
    return isLetter(unit) || fl::ascii::isDigit(unit) || unit == u'+' || unit == u'-' || unit == u'.';
}

}  // namespace

bool hasIRIPrefix(const std::u16string& name) {
    constexpr std::u16string_view kAfterScheme = u"://";
    const auto schemeEnd = std::find_if_not(name.begin(), name.end(), isSchemeUnit);
    return !name.empty() && isLetter(name.front()) &&
           name.compare(static_cast<std::size_t>(schemeEnd - name.begin()), kAfterScheme.size(), kAfterScheme) == 0;
}

}  // namespace foundation::storage::vfs
