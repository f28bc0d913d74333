#include "kit/page/Wording.hpp"

#include "kit/document/Characters.hpp"

#include <algorithm>

namespace flowbook::kit {

std::string grouped(std::uint64_t count) {
    std::string digits = std::to_string(count);
    for (std::size_t at = digits.size(); at > 3;) {
        at -= 3;
        digits.insert(at, ",");
    }
    return digits;
}

std::string counted(std::uint64_t count, const std::string& thing) {
    return grouped(count) + " " + thing + (count == 1 ? "" : "s");
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isBlankText(std::string_view text) { return text.find_first_not_of(" \t\r\n") == std::string_view::npos; }

std::string_view startOf(std::string_view utf8, std::size_t most) {
    std::size_t end = std::min(utf8.size(), most);
    while (end > 0 && isInsideCharacter(utf8, end)) {
        --end;
    }
    return utf8.substr(0, end);
}

std::string readableTime(std::string iso) {
    const std::size_t separator = iso.find('T');
    const std::size_t seconds = iso.rfind(':');
    if (separator == std::string::npos || seconds == std::string::npos || seconds < separator) {
        return iso;
    }
    return iso.substr(0, separator) + " " + iso.substr(separator + 1, seconds - separator - 1) + " UTC";
}

}  // namespace flowbook::kit
