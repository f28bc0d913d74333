#pragma once

#include "fl/i18n/Conversion.hpp"

#include <string>
#include <string_view>

namespace opc::model::detail {

/// Text of a file for a message: in quotes, cut when it is long, without control characters (a NUL would end
/// the message).
inline std::string shown(std::string_view text) {
    constexpr std::size_t kMost = 200;
    std::string result = "'";
    for (const char c : text.substr(0, kMost)) {
        result += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
    }
    return result + (text.size() > kMost ? "...'" : "'");
}

inline std::string shown(std::u16string_view text) { return shown(fl::i18n::to_string(text)); }

}  // namespace opc::model::detail
