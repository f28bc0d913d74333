// Finds what differs in two sequences. Lines that stand once on each side are paired first (patience diff), since they
// are what people see as the same, and only between them the shortest way is searched (Myers). That search is limited:
// beyond so many steps the rest counts as different, which is true, if longer than need be.
#include "kit/compare/Differences.hpp"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>

namespace flowbook::kit {

namespace {

// The steps of one search; it takes memory in proportion to their square.
constexpr std::ptrdiff_t kMostSteps = 1000;

/// A pair of elements that are equal.
struct Match {
    std::size_t a;
    std::size_t b;
};

class DifferenceFinder {
public:
    DifferenceFinder(const std::vector<std::string_view>& a, const std::vector<std::string_view>& b)
        : a_(numbersOf(a)), b_(numbersOf(b)) {}

    std::vector<Difference> find() {
        compare({0, a_.size(), 0, b_.size()});
        return std::move(found_);
    }

private:
    std::vector<std::uint32_t> numbersOf(const std::vector<std::string_view>& texts) {
        std::vector<std::uint32_t> numbers;
        numbers.reserve(texts.size());
        for (const std::string_view text : texts) {
            numbers.push_back(numbers_.emplace(text, static_cast<std::uint32_t>(numbers_.size())).first->second);
        }
        return numbers;
    }

    void compare(Difference range) {
        trim(range);
        if (range.aBegin == range.aEnd || range.bBegin == range.bEnd) {
            add(range);
            return;
        }
        std::vector<Match> matches = uniqueMatches(range);
        const bool isSplit = !matches.empty();
        if (!isSplit) {
            matches = shortestPath(range);
        }
        // What lies between two matches is looked at again only when a smaller part of it may have unique elements.
        const auto handle = [&](const Difference& between) { isSplit ? compare(between) : add(between); };
        Difference rest = range;
        for (const Match& match : matches) {
            handle({rest.aBegin, match.a, rest.bBegin, match.b});
            rest.aBegin = match.a + 1;
            rest.bBegin = match.b + 1;
        }
        handle(rest);
    }

    void trim(Difference& range) const {
        while (range.aBegin < range.aEnd && range.bBegin < range.bEnd && a_[range.aBegin] == b_[range.bBegin]) {
            ++range.aBegin;
            ++range.bBegin;
        }
        while (range.aBegin < range.aEnd && range.bBegin < range.bEnd && a_[range.aEnd - 1] == b_[range.bEnd - 1]) {
            --range.aEnd;
            --range.bEnd;
        }
    }

    void add(const Difference& range) {
        if (range.aBegin == range.aEnd && range.bBegin == range.bEnd) {
            return;
        }
        const bool goesOn = !found_.empty() && found_.back().aEnd == range.aBegin && found_.back().bEnd == range.bBegin;
        if (goesOn) {
            found_.back().aEnd = range.aEnd;
            found_.back().bEnd = range.bEnd;
        } else {
            found_.push_back(range);
        }
    }

    /// The longest row of elements that are there once on each side and in the same order (patience diff).
    std::vector<Match> uniqueMatches(const Difference& range) const {
        struct Seen {
            std::size_t inA = 0;
            std::size_t inB = 0;
            std::size_t at = 0;
        };
        std::unordered_map<std::uint32_t, Seen> seen;
        for (std::size_t i = range.aBegin; i < range.aEnd; ++i) {
            ++seen[a_[i]].inA;
        }
        for (std::size_t i = range.bBegin; i < range.bEnd; ++i) {
            Seen& one = seen[b_[i]];
            ++one.inB;
            one.at = i;
        }
        std::vector<Match> matches;
        for (std::size_t i = range.aBegin; i < range.aEnd; ++i) {
            const Seen& one = seen[a_[i]];
            if (one.inA == 1 && one.inB == 1) {
                matches.push_back({i, one.at});
            }
        }
        return longestRising(matches);
    }

    static std::vector<Match> longestRising(const std::vector<Match>& matches) {
        constexpr std::size_t kNone = SIZE_MAX;
        std::vector<std::size_t> ends;  // of the best rows of each length
        std::vector<std::size_t> before(matches.size(), kNone);
        for (std::size_t i = 0; i < matches.size(); ++i) {
            const auto place = std::lower_bound(ends.begin(), ends.end(), matches[i].b,
                                                [&](std::size_t end, std::size_t b) { return matches[end].b < b; });
            before[i] = place == ends.begin() ? kNone : *(place - 1);
            place == ends.end() ? ends.push_back(i) : static_cast<void>(*place = i);
        }
        std::vector<Match> row;
        for (std::size_t i = ends.empty() ? kNone : ends.back(); i != kNone; i = before[i]) {
            row.push_back(matches[i]);
        }
        std::reverse(row.begin(), row.end());
        return row;
    }

    /// The matches on a shortest way from one sequence to the other (E. W. Myers, 1986); none when it is too long.
    std::vector<Match> shortestPath(const Difference& range) const {
        const auto n = static_cast<std::ptrdiff_t>(range.aEnd - range.aBegin);
        const auto m = static_cast<std::ptrdiff_t>(range.bEnd - range.bBegin);
        const std::ptrdiff_t most = std::min(n + m, kMostSteps);
        std::vector<std::vector<std::ptrdiff_t>> rows;  // by step: how far each diagonal reaches, from -step on
        for (std::ptrdiff_t step = 0; step <= most; ++step) {
            rows.emplace_back(2 * step + 1);
            for (std::ptrdiff_t diagonal = -step; diagonal <= step; diagonal += 2) {
                std::ptrdiff_t x = startOn(rows, step, diagonal);
                while (x < n && x - diagonal < m && x - diagonal >= 0 &&
                       a_[range.aBegin + static_cast<std::size_t>(x)] ==
                           b_[range.bBegin + static_cast<std::size_t>(x - diagonal)]) {
                    ++x;
                }
                rows[static_cast<std::size_t>(step)][static_cast<std::size_t>(diagonal + step)] = x;
                if (x >= n && x - diagonal >= m) {
                    return matchesOn(rows, range, diagonal);
                }
            }
        }
        return {};
    }

    using Rows = std::vector<std::vector<std::ptrdiff_t>>;

    static std::ptrdiff_t reach(const Rows& rows, std::ptrdiff_t step, std::ptrdiff_t diagonal) {
        return rows[static_cast<std::size_t>(step)][static_cast<std::size_t>(diagonal + step)];
    }

    static bool comesDown(const Rows& rows, std::ptrdiff_t step, std::ptrdiff_t diagonal) {
        return diagonal == -step ||
               (diagonal != step && reach(rows, step - 1, diagonal - 1) < reach(rows, step - 1, diagonal + 1));
    }

    static std::ptrdiff_t startOn(const Rows& rows, std::ptrdiff_t step, std::ptrdiff_t diagonal) {
        return step == 0                         ? 0
               : comesDown(rows, step, diagonal) ? reach(rows, step - 1, diagonal + 1)
                                                 : reach(rows, step - 1, diagonal - 1) + 1;
    }

    static std::vector<Match> matchesOn(const Rows& rows, const Difference& range, std::ptrdiff_t diagonal) {
        std::vector<Match> matches;
        for (auto step = static_cast<std::ptrdiff_t>(rows.size()) - 1; step >= 0; --step) {
            const std::ptrdiff_t start = startOn(rows, step, diagonal);
            for (std::ptrdiff_t x = reach(rows, step, diagonal); x > start; --x) {
                matches.push_back({range.aBegin + static_cast<std::size_t>(x - 1),
                                   range.bBegin + static_cast<std::size_t>(x - 1 - diagonal)});
            }
            diagonal += step == 0 ? 0 : comesDown(rows, step, diagonal) ? 1 : -1;
        }
        std::reverse(matches.begin(), matches.end());
        return matches;
    }

    std::unordered_map<std::string_view, std::uint32_t> numbers_;
    std::vector<std::uint32_t> a_;
    std::vector<std::uint32_t> b_;
    std::vector<Difference> found_;
};

}  // namespace

std::vector<Difference> differencesOf(const std::vector<std::string_view>& a, const std::vector<std::string_view>& b) {
    return DifferenceFinder(a, b).find();
}

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
