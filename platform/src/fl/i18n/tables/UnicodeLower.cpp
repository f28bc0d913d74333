#include "fl/i18n/tables/UnicodeLower.hpp"

#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>
#include <unicode/ustring.h>

namespace fl::i18n {

std::size_t pxplatform_unicode_lower(const std::u16string_view* text, std::u16string* to) {
    if (text->size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::length_error("cannot convert text of more than 2^31 units to lower case");
    }
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length = u_strToLower(to->data(), static_cast<std::int32_t>(to->size()), text->data(),
                                             static_cast<std::int32_t>(text->size()), "", &status);
    if (status == U_MEMORY_ALLOCATION_ERROR) {
        throw std::bad_alloc();
    }
    if (U_FAILURE(status) && status != U_BUFFER_OVERFLOW_ERROR) {
        throw std::runtime_error(std::string("cannot convert text to lower case: ") + u_errorName(status));
    }
    return static_cast<std::size_t>(length);
}

/// Where the module's objects are linked instead of loaded.
std::size_t unicodeLower(std::u16string_view text, std::u16string& to) { return pxplatform_unicode_lower(&text, &to); }

}  // namespace fl::i18n
