#include "kit/compare/UnifiedDiff.hpp"

#include "kit/compare/Differences.hpp"

#include <algorithm>
#include <string_view>
#include <vector>

namespace flowbook::kit {

namespace {

using DiffLines = std::vector<std::string_view>;

/// The lines with their line feeds.
DiffLines diffLinesOf(std::string_view text) {
    DiffLines lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

/// The number of the first line and how many there are. Of no lines, the number is that of the line before them.
std::string hunkRange(std::size_t begin, std::size_t end) {
    const std::size_t count = end - begin;
    return std::to_string(count == 0 ? begin : begin + 1) + (count == 1 ? "" : "," + std::to_string(count));
}

void appendLines(std::string& to, char mark, const DiffLines& lines, std::size_t begin, std::size_t end) {
    for (std::size_t at = begin; at != end; ++at) {
        to += mark;
        to += lines[at];
        if (lines[at].back() != '\n') {
            to += "\n\\ No newline at end of file\n";
        }
    }
}

using Each = std::vector<Difference>::const_iterator;

/// Appends differences that are near each other, with the lines around and between them.
void appendHunk(std::string& to, const DiffLines& a, const DiffLines& b, Each first, Each last, std::size_t context) {
    const std::size_t before = std::min(first->aBegin, context);
    const Each final = last - 1;
    const std::size_t after = std::min(a.size() - final->aEnd, context);
    to += "@@ -" + hunkRange(first->aBegin - before, final->aEnd + after) + " +" +
          hunkRange(first->bBegin - before, final->bEnd + after) + " @@\n";
    std::size_t shown = first->aBegin - before;
    for (; first != last; ++first) {
        appendLines(to, ' ', a, shown, first->aBegin);
        appendLines(to, '-', a, first->aBegin, first->aEnd);
        appendLines(to, '+', b, first->bBegin, first->bEnd);
        shown = first->aEnd;
    }
    appendLines(to, ' ', a, shown, shown + after);
}

}  // namespace

std::string unifiedDiff(const NamedText& a, const NamedText& b, std::size_t context) {
    const DiffLines aLines = diffLinesOf(a.text);
    const DiffLines bLines = diffLinesOf(b.text);
    const std::vector<Difference> all = differencesOf(aLines, bLines);
    std::string result = all.empty() ? "" : "--- " + a.name + "\n+++ " + b.name + "\n";
    for (auto first = all.begin(); first != all.end();) {
        auto last = first + 1;
        while (last != all.end() && last->aBegin - (last - 1)->aEnd <= context * 2) {
            ++last;
        }
        appendHunk(result, aLines, bLines, first, last, context);
        first = last;
    }
    return result;
}

}  // namespace flowbook::kit
