#pragma once

#include <cstddef>
#include <string>

namespace flowbook::kit {

/// A text in lines, and what it is called in a comparison.
struct NamedText {
    std::string name;
    std::string text;
};

/// Returns how two texts differ, line by line, in the unified format; nothing when they are the same.
/// @param context  how many lines that are the same are shown around what differs.
std::string unifiedDiff(const NamedText& a, const NamedText& b, std::size_t context);

}  // namespace flowbook::kit
