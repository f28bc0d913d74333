#pragma once

#include "fl/Bytes.hpp"
#include "fl/i18n/Conversion.hpp"

#include <string>
#include <string_view>
#include <type_traits>

namespace opc::model::detail {

/// Returns text of a file for a message: in quotes, cut when it is long, without control characters (a NUL would end
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

namespace opc::zippackage {

/// Joins texts and numbers to one message.
template <class... Pieces>
std::string text(const Pieces&... pieces) {
    std::string all;
    all.reserve(80);  // as long as most are
    const auto add = [&all](const auto& piece) {
        if constexpr (std::is_integral_v<std::decay_t<decltype(piece)>>) {
            all += std::to_string(piece);
        } else {
            all += piece;
        }
    };
    (add(pieces), ...);
    return all;
}

inline std::string_view asText(const fl::Bytes& bytes) {
    return {static_cast<const char*>(static_cast<const void*>(bytes.data())), bytes.size()};
}

/// The name of an entry as opc::Exception::part() has it; empty for none.
inline std::string partOf(std::string_view entry) { return entry.empty() ? std::string() : text("/", entry); }

/// A name out of a container, fit for a message: bytes other than printable ASCII as \xNN, long names cut.
std::string quoted(std::string_view name);

}  // namespace opc::zippackage
