// Which names an entry may have. Names that some reader repairs, shortens or takes for a path outside the folder that
// it extracts to are refused, rather than repaired here: each program would repair them differently.
#include "opc/zippackage/ZipNames.hpp"

#include "fl/Ascii.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "opc/zippackage/ZipFormat.hpp"

#include <algorithm>
#include <memory>

namespace opc::zippackage {
namespace {

bool isUtf8(std::string_view name) {
    if (fl::ascii::isAscii(name)) {
        return true;
    }
    try {
        fl::i18n::utf8_to_ustring(name);
        return true;
    } catch (const fl::i18n::ConversionError&) {
        return false;
    }
}

const char* faultOfSegment(std::string_view segment) {
    if (segment.empty()) {
        return "has an empty segment";
    }
    return segment == "." || segment == ".." ? "has a relative segment" : nullptr;
}

const char* faultOfSegments(std::string_view name) {
    while (!name.empty()) {
        const std::size_t end = std::min(name.find('/'), name.size());
        if (const char* fault = faultOfSegment(name.substr(0, end))) {
            return fault;
        }
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return nullptr;
}

struct FoldedName {
    std::string_view folded;
    std::string_view name;
};

}  // namespace

const char* faultOfName(std::string_view name) {
    if (name.empty() || name.size() > kOnes16) {
        return name.empty() ? "is empty" : "is too long";
    }
    // Some readers end a name at NUL, some take a backslash for a slash.
    if (name.find('\0') != std::string_view::npos || name.find('\\') != std::string_view::npos) {
        return "contains NUL or a backslash";
    }
    // Extracting such a name would write outside the folder, on Windows also by the letter of a drive.
    if (name.front() == '/' ||
        (name.size() > 1 && name[1] == ':' && fl::ascii::isLetter(static_cast<unsigned char>(name.front())))) {
        return "is absolute";
    }
    return isUtf8(name) ? faultOfSegments(name) : "is not UTF-8";
}

std::optional<std::pair<std::string_view, std::string_view>>
findEquivalent(const std::vector<std::string_view>& names) {
    std::size_t size = 0;
    for (const std::string_view name : names) {
        size += name.size();
    }
    // One allocation for all folded names, and sorting: a hash table would let a hostile file choose collisions.
    const auto buffer = std::make_unique<char[]>(size);
    std::vector<FoldedName> sorted;
    sorted.reserve(names.size());
    char* to = buffer.get();
    for (const std::string_view name : names) {
        std::transform(name.begin(), name.end(), to, [](char c) { return fl::ascii::fold(c); });
        sorted.push_back({{to, name.size()}, name});
        to += name.size();
    }
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.folded < b.folded; });
    const auto found = std::adjacent_find(sorted.begin(), sorted.end(),
                                          [](const auto& a, const auto& b) { return a.folded == b.folded; });
    if (found == sorted.end()) {
        return std::nullopt;
    }
    return std::pair(found->name, std::next(found)->name);
}

}  // namespace opc::zippackage
