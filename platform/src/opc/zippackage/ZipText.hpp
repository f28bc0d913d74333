#pragma once

#include "fl/Bytes.hpp"

#include <string>
#include <string_view>
#include <type_traits>

namespace opc::zippackage {

/// Joins texts and numbers to one message.
template <class... Pieces>
std::string text(const Pieces&... pieces) {
    std::string all;
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

/// A name out of a container, fit for a message: bytes other than printable ASCII as \xNN, long names cut.
std::string quoted(std::string_view name);

}  // namespace opc::zippackage
