#include "Commands.hpp"
#include "commands/LineSearch.hpp"
#include "io/CodeText.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Text.hpp"

#include <atomic>

namespace flowbook::tool {

namespace {

struct GrepOptions {
    InputOptions inputs;
    SearchOptions search;
    bool names = false;
    bool count = false;

    /// Whether the lines themselves are to be told.
    bool lines() const { return !names && !count; }
};

std::string forOutput(std::string_view text) { return Output::isTerminal() ? printable(text) : std::string(text); }

class Grep {
public:
    explicit Grep(const GrepOptions& options) : options_(&options), search_(options.search) {}

    void operator()(const Input& input, Report& report) {
        const std::string code = readCodeText(input.openReader());
        if ((options_->inputs.json ? tellRecord(code, report) : tell(code, input.argument(), report)) != 0) {
            found_ = true;
        }
    }

    bool found() const { return found_; }

private:
    std::size_t tell(const std::string& code, const std::string& argument, Report& report) const {
        const std::string file = forOutput(argument);
        std::size_t count = 0;
        search_.search(code, [&](std::size_t number, std::string_view line) {
            ++count;
            if (options_->lines()) {
                report.line(file + ":" + std::to_string(number) + ":" + forOutput(line));
            }
            return !options_->names;
        });
        if (count != 0 && !options_->lines()) {
            report.line(options_->names ? file : file + ":" + std::to_string(count));
        }
        return count;
    }

    std::size_t tellRecord(const std::string& code, Report& report) const {
        std::size_t count = 0;
        Json json = report.openRecord();
        const bool lines = options_->lines();
        json.key("matches").openArray();
        search_.search(code, [&](std::size_t number, std::string_view line) {
            ++count;
            if (lines) {
                json.openObject().count("line", number).field("text", line).closeObject();
            }
            return true;
        });
        json.closeArray().count("count", count);
        report.closeRecord(json, count == 0 ? ExitCode::NegativeFinding : ExitCode::Fine);
        return count;
    }

    const GrepOptions* options_;
    LineSearch search_;
    std::atomic<bool> found_{false};
};

void grepAll(Console& console, GrepOptions& options) {
    Grep grep(options);
    forEachInput(console, options.inputs, std::ref(grep));
    console.note(grep.found() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

constexpr char kGrepDescription[] =
    "Prints FILE:LINE:TEXT for each line of the code, numbered as 'flowbook cat' prints them, in which "
    "the pattern is found. It is an expression in the syntax of RE2, which takes time linear in the text. "
    "Ends with 0 when something was found, with 1 when not, with 2 for an invalid pattern; files that "
    "cannot be read are reported and count as always.";

constexpr char kGrepExamples[] = "flowbook grep -i 'mean|median' folder\n"
                                 "flowbook grep -lw lag folder | flowbook info --files-from -";

constexpr auto kGrepOptions = optionTable(
    place<&GrepOptions::search, &SearchOptions::pattern>("PATTERN", "What to search for"),
    kInputs<&GrepOptions::inputs>,
    flag<&GrepOptions::search, &SearchOptions::ignoreCase>("--ignore-case", 'i', "Upper and lower case are the same"),
    flag<&GrepOptions::search, &SearchOptions::literal>("--fixed-strings", 'F',
                                                        "The pattern is text, not an expression"),
    flag<&GrepOptions::search, &SearchOptions::words>("--word-regexp", 'w', "Find whole words only")
        .explained("Neither letters, digits nor underscores may stand directly before or after what is found."),
    flag<&GrepOptions::search, &SearchOptions::invert>("--invert-match", 'v', "Find the lines without the pattern"),
    flag<&GrepOptions::names>("--files-with-matches", 'l', "Print the names of the files only"),
    flag<&GrepOptions::count>("--count", 'c', "Print how many lines of each file were found, where there are any"),
    kJson<&GrepOptions::inputs>);

}  // namespace

const Command kGrep = makeCommand<GrepOptions, kGrepOptions, grepAll>(
    {"grep", "Search the code of flowbooks", kGrepDescription, kGrepExamples, "matches[]"});

}  // namespace flowbook::tool
