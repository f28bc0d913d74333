#pragma once

#include "fl/PlatformExport.hpp"

#include <string>

namespace foundation::core::except {

/// 8-bit message text (UTF-8, lenient) to the framework's UTF-16.
PXPLATFORM_EXPORT std::u16string convert_str(const std::string& text);

}  // namespace foundation::core::except
