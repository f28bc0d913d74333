// Replaces text in code, line by line, as sed(1) does it: a pattern that could reach over lines would change which
// paragraph a line belongs to.
#include "Commands.hpp"
#include "commands/LineSearch.hpp"
#include "commands/NewContent.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/CodeText.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

struct ReplaceOptions {
    ChangeOptions changes;
    SearchOptions search;
    std::string pattern;
    std::string text;
};

/// Lines that changed, each into one line, in the form of diff(1) without lines around them.
class Difference {
public:
    void add(std::size_t number, std::string_view before, std::string_view after) {
        if (number != first_ + count_) {
            endHunk();
            first_ = number;
        }
        ++count_;
        removed_.append("-").append(before).append("\n");
        added_.append("+").append(after).append("\n");
    }

    std::string take() {
        endHunk();
        return std::move(text_);
    }

private:
    void endHunk() {
        if (count_ != 0) {
            const std::string lines = std::to_string(first_) + (count_ == 1 ? "" : "," + std::to_string(count_));
            text_ += "@@ -" + lines + " +" + lines + " @@\n" + removed_ + added_;
        }
        count_ = 0;
        removed_.clear();
        added_.clear();
    }

    std::string text_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
    std::string removed_;
    std::string added_;
};

/// The code with everything replaced that was found, and the lines that differ.
struct Replaced {
    std::string code;
    std::string difference;
};

Replaced replaceIn(std::string_view code, const LineSearch& search, const std::string& rewrite) {
    Replaced result;
    Difference difference;
    for (std::size_t number = 1; !code.empty(); ++number) {
        const std::string_view line = code.substr(0, code.find('\n'));
        const std::string changed = search.replaced(line, rewrite);
        if (changed != line) {
            difference.add(number, line, changed);
        }
        result.code += changed;
        code.remove_prefix(line.size());
        if (!code.empty()) {
            result.code += '\n';
            code.remove_prefix(1);
        }
    }
    result.difference = difference.take();
    return result;
}

bool replaceIn(const Input& input, Report& report, const LineSearch& search, const ReplaceOptions& options) {
    const Replaced replaced = replaceIn(fl::i18n::to_string(readCode(input)), search, options.text);
    if (replaced.difference.empty()) {
        return false;
    }
    NewContent content;
    content.code = fl::i18n::to_ustring(replaced.code);
    const bool isChanged = apply(content, input, options.changes.dryRun);
    if (isChanged && options.changes.dryRun && !options.changes.quiet && !options.changes.inputs.json) {
        const std::string text = "--- " + input.argument() + "\n+++ " + input.argument() + "\n" + replaced.difference;
        report.write(std::string_view(Output::isTerminal() ? printableLines(text) : text));
    }
    return isChanged;
}

void replaceAll(Console& console, ReplaceOptions& options) {
    if (options.text.find('\n') != std::string::npos) {
        throw Failure(ExitCode::Usage, "TEXT holds a line feed; replace changes lines and adds none");
    }
    if (options.search.literal) {
        // With -F the pattern has no groups, so a backslash in the text stands for itself.
        for (std::size_t at = options.text.find('\\'); at != std::string::npos; at = options.text.find('\\', at + 2)) {
            options.text.insert(at, 1, '\\');
        }
    }
    options.search.patterns = {options.pattern};
    options.changes.namesChanged = false;
    const LineSearch search(options.search);
    search.requireRewrite(options.text);
    changeEachInput(console, options.changes,
                    [&](const Input& input, Report& report) { return replaceIn(input, report, search, options); });
}

constexpr char kReplaceDescription[] =
    "Replaces PATTERN, an expression in the syntax of RE2, by TEXT in each line of the code, as often as it is found. "
    "In TEXT \\1 to \\9 stand for groups of the pattern, \\0 for all that was found, and \\\\ for a backslash. Prose, "
    "formatting, pictures and outputs stay as they are. --dry-run prints the lines that would change.";

constexpr char kReplaceExamples[] = "flowbook replace -w lag delay folder --dry-run\n"
                                    "flowbook replace 'mean\\((\\w+)\\)' 'median(\\1)' folder";

constexpr auto kReplaceOptions =
    optionTable(place<&ReplaceOptions::pattern>("PATTERN", "What to replace"),
                place<&ReplaceOptions::text>("TEXT", "By what"), kChanges<&ReplaceOptions::changes>,
                flag<&ReplaceOptions::search, &SearchOptions::ignoreCase>("--ignore-case", 'i',
                                                                          "Upper and lower case are the same"),
                flag<&ReplaceOptions::search, &SearchOptions::literal>("--fixed-strings", 'F',
                                                                       "PATTERN and TEXT are text, not expressions"),
                flag<&ReplaceOptions::search, &SearchOptions::words>("--word-regexp", 'w', "Replace whole words only"));

}  // namespace

const Command kReplace = makeCommand<ReplaceOptions, kReplaceOptions, replaceAll>(
    {"replace", "Replace something in the code of flowbooks", kReplaceDescription, kReplaceExamples});

}  // namespace flowbook::tool
