// Text of a file for messages. Nothing of a file reaches a message unchecked: control characters could rewrite what a
// terminal shows, and a long name could hide the rest.
#include "opc/MessageText.hpp"

#include "fl/Ascii.hpp"

namespace opc::zippackage {

std::string quoted(std::string_view name) {
    constexpr std::size_t kLongest = 200;
    std::string result = "'";
    for (const char c : name.substr(0, kLongest)) {
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            result += "\\x" + fl::ascii::hex(static_cast<unsigned char>(c), 2);
        }
    }
    return result += name.size() > kLongest ? "...'" : "'";
}

}  // namespace opc::zippackage
