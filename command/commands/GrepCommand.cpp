#include "Commands.hpp"
#include "commands/LineSearch.hpp"
#include "io/CodeText.hpp"
#include "io/ForEachInput.hpp"
#include "terminal/Text.hpp"

#include <atomic>

namespace flowbook::tool {

namespace {

constexpr char kGrepFooter[] =
    "Prints FILE:LINE:TEXT for each line of the code, numbered as 'flowbook cat' prints them, in which\n"
    "the pattern is found. It is an expression in the syntax of RE2. Ends with 0 when something was\n"
    "found, with 1 when not; files that cannot be read are told of and count as always.\n\n"
    "Examples:\n"
    "  flowbook grep -i 'mean|median' folder\n"
    "  flowbook grep -lw lag folder | flowbook info --files-from -";

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
        if (lines) {
            json.key("matches").openArray();
        }
        search_.search(code, [&](std::size_t number, std::string_view line) {
            ++count;
            if (lines) {
                json.openObject().count("line", number).field("text", line).closeObject();
            }
            return true;
        });
        (lines ? json.closeArray() : json).count("count", count);
        report.closeRecord(json);
        return count;
    }

    const GrepOptions* options_;
    LineSearch search_;
    std::atomic<bool> found_{false};
};

void run(Console& console, const GrepOptions& options) {
    Grep grep(options);
    forEachInput(console, options.inputs, std::ref(grep));
    console.note(grep.found() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

}  // namespace

void addGrepCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("grep", "Search the code of flowbooks", kGrepFooter);
    const auto options = std::make_shared<GrepOptions>();
    SearchOptions& search = options->search;
    command.require("PATTERN", search.pattern, "What to search for");
    options->inputs.addTo(command);
    command.flag("-i,--ignore-case", search.ignoreCase, "Upper and lower case are the same");
    command.flag("-F,--fixed-strings", search.literal, "The pattern is text, not an expression");
    command.flag("-w,--word-regexp", search.words, "Find whole words only");
    command.flag("-v,--invert-match", search.invert, "Find the lines without the pattern");
    command.flag("-l,--files-with-matches", options->names, "Print the names of the files only");
    command.flag("-c,--count", options->count, "Print how many lines of each file were found");
    options->inputs.addJsonTo(command);
    command.run([options, &console] { attempt(console, "", [&] { run(console, *options); }); });
}

}  // namespace flowbook::tool
