#include "fl/i18n/codecvt_string_to_ustring.hpp"

#include "fl/i18n/Conversion.hpp"

#include <stdexcept>

namespace fl::i18n {

codecvt_string_to_ustring::codecvt_string_to_ustring(std::string_view codecName) {
    if (to_lower(to_ustring(codecName)) != u"utf-8") {
        throw std::invalid_argument("unknown text encoding \"" + std::string(codecName) + "\"");
    }
}

std::u16string codecvt_string_to_ustring::operator()(std::string_view text) const { return utf8_to_ustring(text); }

}  // namespace fl::i18n
