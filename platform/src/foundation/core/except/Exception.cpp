#include "fl/i18n/Conversion.hpp"
#include "foundation/core/except/ConvertStr.hpp"
#include "foundation/core/except/IException.hpp"
#include "foundation/core/except/IInternalException.hpp"

namespace foundation::core::except {

IException::~IException() = default;

IInternalException::~IInternalException() = default;

std::u16string convert_str(const std::string& text) { return fl::i18n::to_ustring(text); }

}  // namespace foundation::core::except
