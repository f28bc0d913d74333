#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace re2 {
class RE2;
}

namespace flowbook::tool {

struct SearchOptions {
    std::vector<std::string>
        patterns;  ///< UTF-8, in the syntax of RE2, or as `literal` says; one of them is to be found
    bool ignoreCase = false;
    bool literal = false;  ///< the patterns are no expressions but what is searched for
    bool words = false;    ///< letters, digits and underscores may not stand directly before or after what is found
    bool invert = false;   ///< lines in which nothing is found are wanted
};

/// What was found in a line: where it begins and ends, in bytes.
struct Match {
    std::size_t begin;
    std::size_t end;
};

/// Decides which lines are wanted, in time linear in the line for any pattern. May be used from several threads.
class LineSearch {
public:
    /// @throws Failure (usage) for an invalid pattern.
    explicit LineSearch(const SearchOptions& options);
    LineSearch(LineSearch&&) noexcept;
    ~LineSearch();

    /// @param line  UTF-8 without its line feed.
    bool wants(std::string_view line) const;

    /// What is to be looked at next in a text: a match in one of its lines, or something that begins at or before the
    /// next match, if `invert` is not set; nothing when there is none. Quicker than to ask for each line.
    /// @param from  where a line of the text begins.
    std::optional<Match> skip(std::string_view text, std::size_t from) const;

    /// The first match that begins at or after the byte `from`; of the empty text too.
    std::optional<Match> find(std::string_view line, std::size_t from) const;

    /// All matches that are not empty, none of which overlap.
    std::vector<Match> findAll(std::string_view line) const;

    /// The line with all matches replaced, but for empty ones.
    /// @param rewrite  text in which \1 to \9 stand for groups of the pattern, \0 for the match and two backslashes for
    ///                 one; see requireRewrite().
    std::string replaced(std::string_view line, const std::string& rewrite) const;

    /// @throws Failure (usage) for a rewrite that names a group which the pattern does not have.
    void requireRewrite(const std::string& rewrite) const;

private:
    /// @param groups  takes the match and its groups, as the pattern numbers them.
    bool match(std::string_view text, std::size_t from, std::vector<std::string_view>& groups) const;

    /// The group of the expression that is what the user searches for.
    int firstGroup() const noexcept { return words_ ? 1 : 0; }

    std::unique_ptr<re2::RE2> expression_;
    std::unique_ptr<re2::RE2> anywhere_;  ///< for texts of several lines; null when lines have to be looked at each
    bool words_;
    bool invert_;
};

}  // namespace flowbook::tool
