// Patterns over RE2. One expression is compiled twice: for a line by itself, whose answer counts, and for a whole text,
// which finds the next line that may match. Where the two could differ, every line is looked at by itself.
#include "commands/LineSearch.hpp"

#include "terminal/Failure.hpp"

#include <re2/re2.h>

namespace flowbook::tool {

namespace {

using re2::StringPiece;

RE2::Options optionsOf(const SearchOptions& options) {
    RE2::Options all;
    all.set_case_sensitive(!options.ignoreCase);
    // The message about an invalid pattern is ours; RE2 would write its own to standard error as well.
    all.set_log_errors(false);
    return all;
}

[[noreturn]] void throwInvalid(const std::string& pattern, const std::string& error) {
    throw Failure(ExitCode::Usage, "invalid pattern '" + pattern + "': " + error.substr(0, error.find(": ")));
}

/// RE2's \b knows ASCII only.
std::string asWords(const std::string& expression) {
    constexpr char kNoWord[] = R"([^\pL\pM\pN_])";
    return std::string("(?:^|") + kNoWord + ")(" + expression + ")(?:" + kNoWord + "|$)";
}

/// Each pattern is compiled alone first, since one that is invalid by itself may become valid within another.
std::string checked(const std::string& pattern, const SearchOptions& options) {
    if (options.literal) {
        return RE2::QuoteMeta(pattern);
    }
    // The message names the pattern that the user gave, not the one it becomes a part of.
    if (const RE2 alone(pattern, optionsOf(options)); !alone.ok()) {
        throwInvalid(pattern, alone.error());
    }
    return pattern;
}

std::string joined(const SearchOptions& options) {
    std::string all;
    for (const std::string& pattern : options.patterns) {
        const std::string one = checked(pattern, options);
        all += options.patterns.size() == 1 ? one : (all.empty() ? "(?:" : "|(?:") + one + ")";
    }
    return options.words ? asWords(all) : all;
}

std::unique_ptr<RE2> compiled(const std::string& pattern, const SearchOptions& options) {
    auto expression = std::make_unique<RE2>(pattern, optionsOf(options));
    if (!expression->ok()) {
        throwInvalid(pattern, expression->error());
    }
    return expression;
}

/// Groups with flags change what ^, $ and a dot mean, and \A and \z stand for the ends of the text.
/// Whether a search of the whole text finds all that a search of its single lines finds, once ^ and $ stand for the
/// ends of lines.
bool isForTexts(const std::string& pattern) {
    for (std::size_t at = pattern.find("(?"); at != std::string::npos; at = pattern.find("(?", at + 1)) {
        if (pattern.compare(at, 3, "(?:") != 0) {
            return false;
        }
    }
    return pattern.find("\\A") == std::string::npos && pattern.find("\\z") == std::string::npos;
}

/// The replacement of a match. @param groups  the match and its groups.
std::string rewritten(const std::string& rewrite, const std::vector<std::string_view>& groups) {
    std::string text;
    for (std::size_t i = 0; i < rewrite.size(); ++i) {
        if (rewrite[i] != '\\') {
            text += rewrite[i];
        } else if (const char next = rewrite[++i]; next == '\\') {
            text += next;
        } else {
            text += groups[static_cast<std::size_t>(next - '0')];
        }
    }
    return text;
}

}  // namespace

LineSearch::LineSearch(const SearchOptions& options) : words_(options.words), invert_(options.invert) {
    const std::string pattern = joined(options);
    expression_ = compiled(pattern, options);
    if (isForTexts(pattern) && !invert_) {
        anywhere_ = compiled("(?m:" + pattern + ")", options);
    }
}

LineSearch::LineSearch(LineSearch&&) noexcept = default;
LineSearch::~LineSearch() = default;

bool LineSearch::wants(std::string_view line) const {
    return RE2::PartialMatch({line.data(), line.size()}, *expression_) != invert_;
}

std::optional<Match> LineSearch::skip(std::string_view text, std::size_t from) const {
    if (anywhere_ == nullptr) {
        // An end behind the text says that the line is not known to match, so each line is looked at by itself.
        return Match{from, text.size() + 1};
    }
    StringPiece found;
    if (!anywhere_->Match({text.data(), text.size()}, from, text.size(), RE2::UNANCHORED, &found, 1)) {
        return std::nullopt;
    }
    const auto begin = static_cast<std::size_t>(found.data() - text.data());
    return Match{begin, begin + found.size()};
}

bool LineSearch::match(std::string_view text, std::size_t from, std::vector<std::string_view>& groups) const {
    std::vector<StringPiece> found(static_cast<std::size_t>(expression_->NumberOfCapturingGroups()) + 1);
    if (!expression_->Match({text.data(), text.size()}, from, text.size(), RE2::UNANCHORED, found.data(),
                            static_cast<int>(found.size()))) {
        return false;
    }
    groups.clear();
    for (auto i = static_cast<std::size_t>(firstGroup()); i < found.size(); ++i) {
        groups.emplace_back(found[i].data(), found[i].size());
    }
    return true;
}

std::optional<Match> LineSearch::find(std::string_view line, std::size_t from) const {
    std::vector<std::string_view> groups;
    if (!match(line, from, groups)) {
        return std::nullopt;
    }
    const auto begin = static_cast<std::size_t>(groups.front().data() - line.data());
    return Match{begin, begin + groups.front().size()};
}

std::vector<Match> LineSearch::findAll(std::string_view line) const {
    std::vector<Match> all;
    for (std::size_t from = 0; from <= line.size();) {
        const std::optional<Match> match = find(line, from);
        if (!match) {
            break;
        }
        // A match of no characters cannot be shown, and looking on from its end would find it for ever.
        if (match->begin != match->end) {
            all.push_back(*match);
        }
        from = match->begin == match->end ? match->end + 1 : match->end;
    }
    return all;
}

std::string LineSearch::replaced(std::string_view line, const std::string& rewrite) const {
    std::string result;
    std::vector<std::string_view> groups;
    std::size_t done = 0;
    for (std::size_t from = 0; from <= line.size() && match(line, from, groups);) {
        const auto begin = static_cast<std::size_t>(groups.front().data() - line.data());
        const std::size_t end = begin + groups.front().size();
        if (begin != end) {
            result += line.substr(done, begin - done);
            result += rewritten(rewrite, groups);
            done = end;
        }
        from = begin == end ? end + 1 : end;
    }
    return result.append(line.substr(done));
}

void LineSearch::requireRewrite(const std::string& rewrite) const {
    const std::string start = "invalid replacement '" + rewrite + "': ";
    // With -w the pattern lies in a group of our own, which the user does not count.
    const int most = expression_->NumberOfCapturingGroups() - firstGroup();
    if (RE2::MaxSubmatch(rewrite) > most) {
        throw Failure(ExitCode::Usage, start + "it names group " + std::to_string(RE2::MaxSubmatch(rewrite)) +
                                           ", and the pattern has " + std::to_string(most));
    }
    std::string error;
    if (!expression_->CheckRewriteString(rewrite, &error)) {
        throw Failure(ExitCode::Usage, start + "a digit or another backslash must follow a backslash");
    }
}

}  // namespace flowbook::tool
