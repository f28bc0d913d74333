#include "kit/document/EntryNames.hpp"

#include <algorithm>

namespace flowbook::kit {

std::string fold(std::string_view name) {
    std::string folded(name);
    std::transform(folded.begin(), folded.end(), folded.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return folded;
}

std::string extensionOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || name.find('/', dot) != std::string::npos ? "" : name.substr(dot + 1);
}

std::string relationshipsEntry(std::string_view entry) {
    const std::size_t name = entry.rfind('/') + 1;  // 0 for a part at the top
    return std::string(entry.substr(0, name)).append("_rels/").append(entry.substr(name)).append(".rels");
}

}  // namespace flowbook::kit
