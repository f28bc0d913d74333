#include "opc/zippackage/ZipText.hpp"

namespace opc::zippackage {

std::string quoted(std::string_view name) {
    constexpr std::size_t kLongest = 200;
    constexpr char kDigits[] = "0123456789abcdef";
    std::string result = "'";
    for (const char c : name.substr(0, kLongest)) {
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return result += name.size() > kLongest ? "...'" : "'";
}

}  // namespace opc::zippackage
