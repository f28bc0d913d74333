#include "foundation/release_info/ReleaseInfo.hpp"

#include "fl/i18n/Conversion.hpp"

#include <utility>

namespace foundation::release_info {

ReleaseInfo::ReleaseInfo(std::u16string name) : name_(std::move(name)) {}

ReleaseInfo ReleaseInfo::current() { return ReleaseInfo(fl::i18n::utf8_to_ustring(PXPLATFORM_TARMIC_RELEASE)); }

}  // namespace foundation::release_info
