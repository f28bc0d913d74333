#include "foundation/core/except/ConvertStr.hpp"

#include "fl/i18n/Conversion.hpp"

namespace foundation::core::except {

std::u16string convert_str(const std::string& text) { return fl::i18n::to_ustring(text); }

}  // namespace foundation::core::except
