#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// A stretch in which two sequences differ; what stands between two of them is the same in both.
struct Difference {
    std::size_t aBegin;
    std::size_t aEnd;
    std::size_t bBegin;
    std::size_t bEnd;
};

/// Where two sequences of lines, or of words, differ, in their order. Few and short differences are found where there
/// are any; sequences that differ in thousands of places may be reported to differ in longer stretches than they do, so
/// that the time stays in proportion.
std::vector<Difference> differencesOf(const std::vector<std::string_view>& a, const std::vector<std::string_view>& b);

/// A text in lines, and what it is called in a comparison.
struct NamedText {
    std::string name;
    std::string text;
};

/// Returns how two texts differ, line by line, in the unified format; nothing when they are the same.
/// @param context  how many lines that are the same are shown around what differs.
std::string unifiedDiff(const NamedText& a, const NamedText& b, std::size_t context);

}  // namespace flowbook::kit
