#pragma once

#include "fl/PlatformExport.hpp"

#include <string>
#include <string_view>

/// Conversions between 8-bit text (UTF-8 throughout) and UTF-16, and Unicode lower-casing. All are
/// stateless and safe to call from several threads at once; all throw std::bad_alloc only, unless
/// stated.
namespace fl::i18n {

/// UTF-16 to UTF-8, lenient: every lone surrogate becomes U+FFFD.
PXPLATFORM_EXPORT std::string to_string(std::u16string_view text);

/// UTF-8 to UTF-16, lenient: every malformed sequence becomes U+FFFD.
PXPLATFORM_EXPORT std::u16string to_ustring(std::string_view text);

/// UTF-8 to UTF-16, strict. @throws ConversionError naming the byte of the first malformed sequence.
PXPLATFORM_EXPORT std::u16string utf8_to_ustring(std::string_view text);

/// UTF-16 to UTF-8, strict. @throws ConversionError naming the unit of the first lone surrogate.
PXPLATFORM_EXPORT std::string ustring_to_utf8(std::u16string_view text);

/// Full Unicode lower-casing in the root locale (no language-specific rules); the length may change.
PXPLATFORM_EXPORT std::u16string to_lower(std::u16string_view text);

}  // namespace fl::i18n
