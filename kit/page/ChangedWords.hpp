#pragma once

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace flowbook::kit {

/// A line in words, and the stretches of words in which it differs from another line: from each first to behind each
/// second. A stretch is empty where only the other line has words.
struct MarkedLine {
    std::vector<std::string_view> words;
    std::vector<std::pair<std::size_t, std::size_t>> marks;
};

/// Marks what differs in two lines, which must outlive the result. Lines that have little in common, and very long
/// ones, are marked whole.
std::pair<MarkedLine, MarkedLine> markedLines(std::string_view before, std::string_view after);

/// Finds which lines that were removed became which lines that were added, by the words that they share. The work for
/// one page is limited: what comes later is then not looked at.
class LikeLines {
public:
    /// @returns pairs of indexes, which rise on both sides.
    std::vector<std::pair<std::size_t, std::size_t>> pairsOf(const std::vector<std::string_view>& before,
                                                             const std::vector<std::string_view>& after);

private:
    std::size_t work_ = std::size_t{1} << 24;  ///< bytes that may still be compared
};

}  // namespace flowbook::kit
