#pragma once

#include "fl/PlatformExport.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace fl::i18n {

/// Full Unicode lower-casing in the root locale. @param to  as long as the result is to be at most.
/// @returns the length of the result; when `to` is too small for it, nothing useful is in there.
/// @throws std::bad_alloc, std::runtime_error, also when the tables for it cannot be loaded.
std::size_t unicodeLower(std::u16string_view text, std::u16string& to);

/// The function of the module that does it, by a name without C++ decoration.
extern "C" PXPLATFORM_EXPORT std::size_t pxplatform_unicode_lower(const std::u16string_view* text, std::u16string* to);

}  // namespace fl::i18n
