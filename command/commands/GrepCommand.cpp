// Searches the texts of flowbooks. A whole text is searched at once, as most texts hold no match and cutting them into
// lines would take longer than searching them; only around what is found are lines cut and counted.
#include "Commands.hpp"
#include "commands/Ignored.hpp"
#include "commands/LineSearch.hpp"
#include "io/CodeText.hpp"
#include "io/OpenDocument.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/document/SearchedText.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <atomic>
#include <cstdlib>

namespace flowbook::tool {

namespace {

struct GrepOptions {
    InputOptions inputs;
    SearchOptions search;
    std::optional<std::string> pattern;
    std::optional<std::string> places;
    std::string color = "auto";
    std::optional<unsigned> most;
    std::optional<unsigned> before;
    std::optional<unsigned> after;
    std::optional<unsigned> around;
    bool names = false;
    bool count = false;
    bool onlyMatches = false;
    bool quiet = false;
    bool nulAfterNames = false;
    bool gitignore = false;
    bool accepted = false;

    /// Whether the lines themselves are to be printed.
    bool lines() const { return !names && !count && !quiet; }
    std::size_t linesBefore() const { return before.value_or(around.value_or(0)); }
    std::size_t linesAfter() const { return after.value_or(around.value_or(0)); }
};

/// A text of a flowbook that is searched.
struct Place {
    std::string name;
    std::string (*text)(const kit::Document& document);
};

/// @throws what the reader throws where there is none.
std::string codeLines(const kit::Document& document) {
    requireReadableCode(document);
    return kit::codeAsLines(document.code());
}

// Never destroyed, as other threads may still search while the process ends.
const std::vector<Place>& allPlaces() {
    static const auto& places = *new std::vector<Place>{{"code", codeLines},
                                                        {"prose", kit::proseText},
                                                        {"properties", kit::propertyText},
                                                        {"outputs", kit::outputText}};
    return places;
}

/// The places that a list such as "code,prose" names. @throws Failure (usage).
std::vector<Place> placesOf(const std::optional<std::string>& list) {
    if (list == "all") {
        return allPlaces();
    }
    std::vector<Place> chosen;
    std::string_view left = list ? std::string_view(*list) : "code";
    while (true) {
        const std::string_view name = left.substr(0, left.find(','));
        const auto& places = allPlaces();
        const auto found =
            std::find_if(places.begin(), places.end(), [&](const Place& each) { return each.name == name; });
        if (found == places.end()) {
            throw Failure(ExitCode::Usage, "--in takes code, prose, properties and outputs, with commas between, or "
                                           "all; not '" +
                                               std::string(name) + "'");
        }
        chosen.push_back(*found);
        if (name.size() == left.size()) {
            return chosen;
        }
        left.remove_prefix(name.size() + 1);
    }
}

bool isColored(const std::string& when) {
    const char* const noColor = std::getenv("NO_COLOR");
    return when == "always" || (when == "auto" && Output::isTerminal() && (noColor == nullptr || *noColor == '\0'));
}

std::string forOutput(std::string_view text) { return Output::isTerminal() ? printable(text) : std::string(text); }

/// How lines are shown: their parts, with colours if there are any, as ripgrep has them.
class Style {
public:
    explicit Style(const GrepOptions& options)
        : isColored_(isColored(options.color)), afterName_(options.nulAfterNames ? '\0' : ':') {}

    std::string file(const std::string& name) const { return colored("35", forOutput(name)); }

    /// What stands before the text of a line. @param separator  ':' for a match, '-' for a line around one.
    std::string opening(const std::string& file, const std::string& place, std::size_t number, char separator) const {
        return file + (afterName_ == '\0' ? afterName_ : separator) + (place.empty() ? "" : place + separator) +
               colored("32", std::to_string(number)) + separator;
    }

    std::string afterName(const std::string& file, std::size_t count) const {
        return file + afterName_ + std::to_string(count);
    }

    std::string match(std::string_view text) const { return colored("1m\x1b[31", forOutput(text)); }

    std::string withMatches(std::string_view line, const LineSearch& search) const {
        if (!isColored_) {
            return forOutput(line);
        }
        std::string text;
        std::size_t done = 0;
        for (const Match& each : search.findAll(line)) {
            text +=
                forOutput(line.substr(done, each.begin - done)) + match(line.substr(each.begin, each.end - each.begin));
            done = each.end;
        }
        return text + forOutput(line.substr(done));
    }

private:
    // The resets before and after are ripgrep's, so what reads its colours reads these.
    std::string colored(const char* color, const std::string& text) const {
        return isColored_ ? std::string("\x1b[0m\x1b[") + color + "m" + text + "\x1b[0m" : text;
    }

    bool isColored_;
    char afterName_;
};

/// Calls `each(number, line, isKnown)` for the lines of a text, of which the first has number 1, until it returns
/// false.
/// @param skip  returns what is to be looked at next, given where a line begins; `isKnown` says that it lies in the
/// line.
template <class Skip, class Each>
void forEachLine(std::string_view text, Skip skip, Each each) {
    std::size_t number = 1;
    for (std::size_t at = 0; at < text.size(); ++number) {
        const std::optional<Match> next = skip(at);
        if (!next) {
            return;
        }
        std::size_t end = std::min(text.find('\n', at), text.size());
        while (end < next->begin) {
            at = end + 1;
            end = std::min(text.find('\n', at), text.size());
            ++number;
        }
        if (at == text.size() || !each(number, text.substr(at, end - at), next->end <= end)) {
            return;
        }
        at = end + 1;
    }
}

/// Shows the lines of one text that are wanted, with those around them.
class LinePrinter {
public:
    LinePrinter(const GrepOptions& options, const LineSearch& search, const Style& style, Report& report,
                std::string file, std::string place)
        : options_(&options),
          search_(&search),
          style_(&style),
          report_(&report),
          file_(std::move(file)),
          place_(std::move(place)) {}

    /// Groups of lines that do not follow each other are divided by "--", as grep(1) does it.
    void match(std::size_t number, std::string_view line) {
        const bool hasContext = options_->linesBefore() + options_->linesAfter() != 0;
        const std::size_t first = before_.empty() ? number : before_.front().first;
        // Lines that follow each other are one group, also where they were shown for two matches.
        if (hasContext && last_ != 0 && first > last_ + 1) {
            report_->line("--");
        }
        for (const auto& [earlier, text] : before_) {
            show(earlier, text, '-');
        }
        before_.clear();
        after_ = options_->linesAfter();
        last_ = number;
        if (options_->onlyMatches) {
            showMatches(number, line);
        } else {
            report_->line(style_->opening(file_, place_, number, ':') + style_->withMatches(line, *search_));
        }
    }

    void other(std::size_t number, std::string_view line) {
        if (after_ != 0) {
            --after_;
            show(number, line, '-');
        } else if (options_->linesBefore() != 0) {
            before_.emplace_back(number, line);
            if (before_.size() > options_->linesBefore()) {
                before_.erase(before_.begin());
            }
        }
    }

    /// Whether lines after the last match are still to be shown.
    bool isWaiting() const noexcept { return after_ != 0; }

private:
    void show(std::size_t number, std::string_view line, char separator) {
        last_ = number;
        if (!options_->onlyMatches) {
            report_->line(style_->opening(file_, place_, number, separator) + forOutput(line));
        }
    }

    void showMatches(std::size_t number, std::string_view line) const {
        for (const Match& each : options_->search.invert ? std::vector<Match>() : search_->findAll(line)) {
            report_->line(style_->opening(file_, place_, number, ':') +
                          style_->match(line.substr(each.begin, each.end - each.begin)));
        }
    }

    const GrepOptions* options_;
    const LineSearch* search_;
    const Style* style_;
    Report* report_;
    std::string file_;
    std::string place_;
    std::vector<std::pair<std::size_t, std::string_view>> before_;
    std::size_t after_ = 0;
    std::size_t last_ = 0;  ///< the line that was shown last
};

class Grep {
public:
    explicit Grep(const GrepOptions& options)
        : options_(&options), search_(options.search), style_(options), places_(placesOf(options.places)) {}

    void operator()(const Input& input, Report& report) {
        const std::size_t count =
            options_->inputs.json ? writeRecord(input, report) : print(input, report, style_.file(input.argument()));
        if (count != 0) {
            found_ = true;
        }
    }

    bool found() const { return found_; }

private:
    /// Searches one place; a line is handed to `match` if it is wanted, else to `other`, which may be called for lines
    /// behind the last match as long as `isWaiting`.
    template <class Printer>
    void search(const std::string& text, std::size_t& count, Printer& printer) const {
        const std::size_t most = options_->most.value_or(0);
        // Lines around a match have to be seen, so nothing can be skipped when they are wanted.
        const bool needsAll = options_->linesBefore() + options_->linesAfter() != 0;
        const auto skip = [&](std::size_t from) {
            return needsAll ? std::optional(Match{from, text.size() + 1}) : search_.skip(text, from);
        };
        forEachLine(text, skip, [&](std::size_t number, std::string_view line, bool isKnown) {
            // A name or an exit code needs one match and not all of them.
            const bool isOver =
                (options_->most && count >= most) || (count != 0 && (options_->names || options_->quiet));
            if (isOver && !printer.isWaiting()) {
                return false;
            }
            if (!isOver && (isKnown || search_.wants(line))) {
                ++count;
                printer.match(number, line);
                // With -m, lines after the last match are shown up to the next match, as grep(1) does it.
            } else if (isOver && search_.wants(line)) {
                return false;
            } else {
                printer.other(number, line);
            }
            return true;
        });
    }

    /// Calls `each` with the texts that can be read; a failure is reported when all the others have been searched.
    template <class Each>
    void forEachPlace(const Input& input, Report& report, Each each) const {
        if (!options_->places) {
            report.attempt(&input, [&] { each("", readCodeText(input)); });
            return;
        }
        report.attempt(&input, [&] {
            const kit::Document document = openDocument(input);
            for (const Place& place : places_) {
                report.attempt(&input, [&] { each(place.name, place.text(document)); });
            }
        });
    }

    std::size_t print(const Input& input, Report& report, const std::string& file) const {
        std::size_t count = 0;
        forEachPlace(input, report, [&](const std::string& place, const std::string& text) {
            if (options_->lines()) {
                LinePrinter printer(*options_, search_, style_, report, file, place);
                search(text, count, printer);
            } else {
                Counter counter;
                search(text, count, counter);
            }
        });
        if (count != 0 && options_->names) {
            report.write(file + (options_->nulAfterNames ? '\0' : '\n'));
        } else if (count != 0 && options_->count && !options_->quiet) {
            report.line(style_.afterName(file, count));
        }
        return count;
    }

    struct Counter {
        void match(std::size_t, std::string_view) const {}
        void other(std::size_t, std::string_view) const {}
        bool isWaiting() const { return false; }
    };

    /// Writes a match for each line, or with -o for each match in it.
    struct Recorder : Counter {
        Recorder(Json& target, const GrepOptions& given, const LineSearch& lines, const std::string& where)
            : json(&target), options(&given), search(&lines), place(where) {}

        void match(std::size_t number, std::string_view line) const {
            if (!options->onlyMatches || options->search.invert) {
                write(number, line);
                return;
            }
            for (const Match& each : search->findAll(line)) {
                write(number, line.substr(each.begin, each.end - each.begin));
            }
        }
        void write(std::size_t number, std::string_view text) const {
            json->openObject().field("place", place).count("line", number).field("text", text).closeObject();
        }

        Json* json;
        const GrepOptions* options;
        const LineSearch* search;
        std::string place;
    };

    std::size_t writeRecord(const Input& input, Report& report) const {
        std::size_t count = 0;
        Json json = report.openRecord();
        json.key("matches").openArray();
        forEachPlace(input, report, [&](const std::string& place, const std::string& text) {
            if (options_->lines()) {
                const Recorder recorder(json, *options_, search_, place.empty() ? "code" : place);
                search(text, count, recorder);
            } else {
                Counter counter;
                search(text, count, counter);
            }
        });
        json.closeArray().count("count", count);
        report.closeRecord(json, count == 0 ? ExitCode::NegativeFinding : ExitCode::Fine);
        return count;
    }

    const GrepOptions* options_;
    LineSearch search_;
    Style style_;
    std::vector<Place> places_;
    std::atomic<bool> found_{false};
};

/// So a file of patterns can be passed by "$(cat patterns)", as grep(1) takes it.
/// A pattern of several lines stands for several patterns.
void addPatterns(std::vector<std::string>& all, const std::string& pattern) {
    std::size_t begin = 0;
    for (std::size_t end = pattern.find('\n'); end != std::string::npos; end = pattern.find('\n', begin)) {
        all.push_back(pattern.substr(begin, end - begin));
        begin = end + 1;
    }
    all.push_back(pattern.substr(begin));
}

void grepAll(Console& console, GrepOptions& options) {
    std::vector<std::string> patterns;
    if (options.pattern) {
        addPatterns(patterns, *options.pattern);
    }
    for (const std::string& pattern : options.search.patterns) {
        addPatterns(patterns, pattern);
    }
    options.search.patterns = std::move(patterns);
    Grep grep(options);
    // The group of one file ends with it, so the next one needs the same mark between them.
    const bool hasContext = options.lines() && options.linesBefore() + options.linesAfter() != 0;
    options.inputs.separator = hasContext && !options.inputs.json ? "--\n" : "";
    std::vector<InputName> names = options.inputs.names();
    if (options.gitignore) {
        removeIgnored(names, options.inputs.files);
    }
    forEachInput(console, options.inputs, std::move(names), std::ref(grep));
    console.note(grep.found() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

constexpr char kGrepDescription[] =
    "Prints FILE:LINE:TEXT for each line of the code, numbered as 'flowbook cat' prints them, in which the "
    "pattern is found. It is an expression in the syntax of RE2, which takes time linear in the text. With "
    "--in other texts are searched, and FILE:PLACE:LINE:TEXT is printed. Ends with 0 when something was "
    "found, with 1 when not, with 2 for an invalid pattern; files that cannot be read are reported and "
    "count as always.\n\n"
    "All flowbooks of a folder are searched unless --gitignore is given: results are often left out of a "
    "repository, and a search that passes over them without a word would be taken for one that found nothing.";

constexpr char kGrepExamples[] = "flowbook grep -i 'mean|median' folder\n"
                                 "flowbook grep --in=all -C1 lag folder\n"
                                 "flowbook grep -lw lag folder | flowbook info --files-from -";

constexpr auto kGrepOptions = optionTable(
    place<&GrepOptions::pattern>("PATTERN", "What to search for").excludes("--regexp").required(),
    kInputs<&GrepOptions::inputs>,
    option<&GrepOptions::search, &SearchOptions::patterns>("--regexp", 'e', "PATTERN",
                                                           "Search for this, too; may be repeated, and begin with '-'"),
    flag<&GrepOptions::search, &SearchOptions::ignoreCase>("--ignore-case", 'i', "Upper and lower case are the same"),
    flag<&GrepOptions::search, &SearchOptions::literal>("--fixed-strings", 'F',
                                                        "The pattern is text, not an expression"),
    flag<&GrepOptions::search, &SearchOptions::words>("--word-regexp", 'w', "Find whole words only")
        .explained("Neither letters, digits nor underscores may stand directly before or after what is found."),
    flag<&GrepOptions::search, &SearchOptions::invert>("--invert-match", 'v', "Find the lines without the pattern"),
    option<&GrepOptions::places>("--in", '\0', "PLACES", "Where to search: a list with commas, or 'all'")
        .defaultsTo("code")
        .explained("Places are code; prose, the text around the code; properties, as lines 'title: TEXT'; and "
                   "outputs, the stored outputs as XML."),
    flag<&GrepOptions::onlyMatches>("--only-matching", 'o', "Print what was found, not its line"),
    option<&GrepOptions::after>("--after-context", 'A', "N", "Print N lines after each that was found"),
    option<&GrepOptions::before>("--before-context", 'B', "N", "Print N lines before each that was found"),
    option<&GrepOptions::around>("--context", 'C', "N", "Print N lines before and after"),
    option<&GrepOptions::most>("--max-count", 'm', "N", "Stop after N lines of a file"),
    flag<&GrepOptions::names>("--files-with-matches", 'l', "Print the names of the files only"),
    flag<&GrepOptions::count>("--count", 'c', "Print how many lines of each file were found, where there are any"),
    kQuiet<&GrepOptions::quiet>,
    flag<&GrepOptions::nulAfterNames>("--null-output", 'Z', "Print NUL after the name of a file")
        .in(OptionGroup::Output),
    option<&GrepOptions::color>("--color", '\0', "auto|always|never", "Colour names, numbers and what was found")
        .defaultsTo("auto: on a terminal, unless NO_COLOR is set")
        .in(OptionGroup::Output),
    flag<&GrepOptions::gitignore>("--gitignore", '\0', "Leave out what .gitignore and .ignore name below a folder")
        .in(OptionGroup::Inputs)
        .explained("What .gitignore names is asked of 'git check-ignore'; .ignore holds patterns of the same kind."),
    flag<&GrepOptions::accepted>("--line-number", 'n', "Numbers are always printed").hidden(),
    flag<&GrepOptions::accepted>("--recursive", 'r', "Folders are always searched").hidden(),
    flag<&GrepOptions::accepted>("--with-filename", 'H', "Names are always printed").hidden(),
    kJson<&GrepOptions::inputs>);

}  // namespace

const Command kGrep = makeCommand<GrepOptions, kGrepOptions, grepAll>(
    {"grep", "Search the code of flowbooks", kGrepDescription, kGrepExamples, "matches[]"});

}  // namespace flowbook::tool
