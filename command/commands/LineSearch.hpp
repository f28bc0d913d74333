#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

namespace re2 {
class RE2;
}

namespace flowbook::tool {

struct SearchOptions {
    std::string pattern;  ///< UTF-8, in the syntax of RE2, or as `literal` says
    bool ignoreCase = false;
    bool literal = false;  ///< the pattern is no expression but what is searched for
    bool words = false;    ///< letters, digits and underscores may not stand directly before or after what is found
    bool invert = false;   ///< lines in which nothing is found are wanted
};

/// Decides which lines are wanted, in time linear in the line for any pattern. May be used from several threads.
class LineSearch {
public:
    /// @throws Failure (usage) for a pattern that is none.
    explicit LineSearch(const SearchOptions& options);
    LineSearch(LineSearch&&) noexcept;
    ~LineSearch();

    /// @param line  UTF-8 without its line feed.
    bool wants(std::string_view line) const;

    /// Calls `take(number, line)` for each wanted line, the first of which has number 1, until it returns false.
    template <class Take>
    void search(std::string_view text, Take take) const {
        for (std::size_t number = 1; !text.empty(); ++number) {
            const std::string_view line = text.substr(0, text.find('\n'));
            if (wants(line) && !take(number, line)) {
                return;
            }
            text.remove_prefix(std::min(line.size() + 1, text.size()));
        }
    }

private:
    std::unique_ptr<re2::RE2> expression_;
    bool invert_;
};

}  // namespace flowbook::tool
