#pragma once

#include "fl/PlatformExport.hpp"

#include <string>
#include <string_view>

namespace fl::i18n {

/// A strict converter from a named 8-bit encoding to UTF-16. Immutable; usable from several threads.
class PXPLATFORM_EXPORT codecvt_string_to_ustring {
public:
    /// @param codecName  "UTF-8", in any letter case.
    /// @throws std::invalid_argument for any other name.
    explicit codecvt_string_to_ustring(std::string_view codecName);

    /// A leading byte order mark is text like any other and is kept as U+FEFF.
    /// @throws ConversionError naming the byte of the first malformed sequence.
    std::u16string operator()(std::string_view text) const;
};

}  // namespace fl::i18n
