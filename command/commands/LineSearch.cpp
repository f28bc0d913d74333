#include "commands/LineSearch.hpp"

#include "terminal/Failure.hpp"

#include <re2/re2.h>

namespace flowbook::tool {

namespace {

RE2::Options optionsOf(const SearchOptions& options, bool literal) {
    RE2::Options all;
    all.set_case_sensitive(!options.ignoreCase);
    all.set_literal(literal);
    all.set_log_errors(false);
    return all;
}

/// RE2's \b knows ASCII only.
std::string asWords(const std::string& expression) {
    constexpr char kNoWord[] = R"([^\pL\pM\pN_])";
    return std::string("(?:^|") + kNoWord + ")(?:" + expression + ")(?:" + kNoWord + "|$)";
}

std::unique_ptr<RE2> compile(const std::string& pattern, const RE2::Options& options) {
    auto expression = std::make_unique<RE2>(pattern, options);
    if (!expression->ok()) {
        throw Failure(ExitCode::Usage, "the pattern is none: " + expression->error());
    }
    return expression;
}

/// The pattern is compiled as it is first, since one that is none by itself may become one within another.
std::unique_ptr<RE2> expressionOf(const SearchOptions& options) {
    auto alone = compile(options.pattern, optionsOf(options, options.literal));
    if (!options.words) {
        return alone;
    }
    return compile(asWords(options.literal ? RE2::QuoteMeta(options.pattern) : options.pattern),
                   optionsOf(options, false));
}

}  // namespace

LineSearch::LineSearch(const SearchOptions& options) : expression_(expressionOf(options)), invert_(options.invert) {}

LineSearch::LineSearch(LineSearch&&) noexcept = default;
LineSearch::~LineSearch() = default;

bool LineSearch::wants(std::string_view line) const {
    return RE2::PartialMatch({line.data(), line.size()}, *expression_) != invert_;
}

}  // namespace flowbook::tool
