// Compares two flowbooks. The texts that `git diff` shows are written into two files for diff(1), so both show the same
// lines. Pages, folders and JSON only need to know whether the texts are equal, and start no program.
#include "Commands.hpp"
#include "commands/ChangePages.hpp"
#include "commands/PageOf.hpp"
#include "commands/TextOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/Program.hpp"
#include "io/SharedOptions.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <cstdlib>
#include <map>
#include <optional>

namespace flowbook::tool {

namespace {

struct DiffOptions {
    std::vector<std::string> files;
    InputOptions inputs;  // how folders are searched
    bool quiet = false;
    bool html = false;
    bool show = false;
    bool force = false;
    bool prune = false;
    bool noOutputs = false;
    std::optional<std::string> range;
    std::optional<std::string> output;
    std::optional<std::string> folder;
    std::optional<std::string> name;
};

void note(Console& console, bool isSame, ExitCode limit) {
    console.note(isSame ? ExitCode::Fine : ExitCode::NegativeFinding);
    console.note(limit);
    if (limit != ExitCode::Fine) {
        console.say("a flowbook is beyond a limit; what cannot be read of it is compared by its bytes");
    }
}

void diffText(Console& console, const DiffOptions& options) {
    const std::string& nameOfA = options.files[0];
    const std::string& nameOfB = options.files[1];
    const TemporaryFolder folder;
    ExitCode limit = ExitCode::Fine;
    // Both files have fixed names, as the names of the flowbooks may hold anything; the labels show those.
    const std::string a = folder.put("a", textOf(nameOfA, !options.noOutputs, &limit));
    const std::string b = folder.put("b", textOf(nameOfB, !options.noOutputs, &limit));
    const char* const noColour = std::getenv("NO_COLOR");
    const std::string colour = noColour != nullptr && *noColour != '\0' ? "never" : "auto";
    // Names may hold what a terminal obeys; a file or a pipe gets them as they are, for patch(1).
    const auto label = [](const std::string& name) { return Output::isTerminal() ? printable(name) : name; };
    // NO_COLOR is honoured here, as diff(1) does not know it.
    const int code =
        runProgram({"diff", "-u", "--color=" + colour, "--label", label(nameOfA), "--label", label(nameOfB), a, b});
    // diff(1) ends with 1 for a difference, and with 2 or more for trouble.
    if (code > 1) {
        throw Failure(ExitCode::InputOutput, "diff failed with exit code " + std::to_string(code));
    }
    note(console, code == 0, limit);
}

void diffHtml(Console& console, const DiffOptions& options) {
    const std::string& a = options.files[0];
    const std::string& b = options.files[1];
    const kit::ChangesPage page = changesBetween(options.name.value_or(b == "/dev/null" ? a : b), a, b);
    if (options.show) {
        showInBrowser(page.html);
    } else {
        putFile(console.out(), options.output.value_or("-"), Bytes(page.html.begin(), page.html.end()),
                {options.force, true});
    }
    ExitCode limit = ExitCode::Fine;
    // The exit code is the same with and without --html, so the same texts decide.
    const bool isSame = textOf(a, true, &limit) == textOf(b, true, &limit);
    note(console, isSame, limit);
}

/// A flowbook in two folders: where it lies in each of them, if it does.
struct Pair {
    std::optional<std::string> before;
    std::optional<std::string> after;

    const char* difference(bool isSame) const {
        return !before ? "added" : !after ? "removed" : isSame ? "none" : "changed";
    }
};

/// By the path of the flowbook as it is now, or of the removed one.
using Pairs = std::map<std::string, Pair>;

void compare(const Pair& pair, Report& report, const DiffOptions& options) {
    ExitCode limit = ExitCode::Fine;
    const bool isSame =
        pair.before && pair.after &&
        textOf(*pair.before, !options.noOutputs, &limit) == textOf(*pair.after, !options.noOutputs, &limit);
    const std::string difference = pair.difference(isSame);
    report.note(limit);
    report.note(isSame ? ExitCode::Fine : ExitCode::NegativeFinding);
    if (options.inputs.json) {
        Json json = report.openRecord();
        json.field("difference", difference);
        report.closeRecord(json, std::max(limit, isSame ? ExitCode::Fine : ExitCode::NegativeFinding));
    } else if (!isSame && !options.quiet) {
        // The longest of the words, "removed" and "changed", and two blanks.
        constexpr std::size_t kWidth = 9;
        const std::string path = pair.after ? *pair.after : *pair.before;
        report.line(difference + std::string(kWidth - difference.size(), ' ') +
                    (Output::isTerminal() ? printable(path) : path));
    }
}

/// Prints for each pair whether it differs, and no more.
void comparePairs(Console& console, const DiffOptions& options, const Pairs& pairs, std::vector<InputName> names) {
    forEachInput(console, options.inputs, std::move(names),
                 [&](const Input& input, Report& report) { compare(pairs.at(input.argument()), report, options); });
}

std::vector<InputName> namesIn(const std::string& folder, InputOptions options) {
    options.files = {folder};
    return options.names();
}

/// A flowbook has the same place below both folders; one that was renamed is removed and added.
void diffFolders(Console& console, const DiffOptions& options) {
    std::map<std::string, Pair> places;
    std::map<std::string, InputName> names;
    std::vector<InputName> all;
    for (const bool isAfter : {false, true}) {
        for (const InputName& name : namesIn(options.files[isAfter ? 1 : 0], options.inputs)) {
            // A folder that cannot be read is reported, and its flowbooks are not taken for removed ones without a
            // word.
            if (name.problem) {
                all.push_back(name);
                continue;
            }
            (isAfter ? places[name.nameInFolder].after : places[name.nameInFolder].before) = name.path;
            names[name.nameInFolder] = name;
        }
    }
    Pairs pairs;
    for (const auto& [place, pair] : places) {
        pairs.emplace(names.at(place).path, pair);
        all.push_back(names.at(place));
    }
    comparePairs(console, options, pairs, std::move(all));
}

void diffGit(Console& console, const DiffOptions& options) {
    if (!options.html || !options.folder) {
        throw Failure(ExitCode::Usage, "--git makes pages: it takes --html and a folder, -d");
    }
    writeGitChanges(console, {*options.range, options.files, *options.folder, options.force, options.prune});
}

void diffAny(Console& console, DiffOptions& options) {
    if (options.range) {
        diffGit(console, options);
    } else if (options.files.size() != 2) {
        throw Failure(ExitCode::Usage, "'diff' takes two flowbooks or two folders");
    } else if (options.html) {
        diffHtml(console, options);
    } else if (isFolder(options.files[0]) && isFolder(options.files[1])) {
        diffFolders(console, options);
    } else if (options.quiet || options.inputs.json) {
        const std::string& after = options.files[1];
        comparePairs(console, options, {{after, {options.files[0], after}}}, {{after, "", std::nullopt}});
    } else {
        diffText(console, options);
    }
}

constexpr char kDiffDescription[] =
    "Compares what 'flowbook git textconv' prints, by diff(1). Ends with 0 when the contents are the "
    "same, with 1 when they differ, with 6 when one is beyond a limit. Colours appear on a terminal, unless NO_COLOR "
    "is set.\n\n"
    "Of two folders it prints which flowbooks were added, removed and changed, by their places below the folders: one "
    "that was renamed is removed and added.\n\n"
    "With --html it makes a page that shows what changed: properties, text and code by line with the changed words "
    "marked, outputs, and pictures before and after; lines that only look different, and links and pictures that lead "
    "elsewhere, are shown as such. Of a damaged file it shows what 'flowbook repair' could save. '/dev/null' stands "
    "for "
    "no flowbook. With --git it makes a page "
    "for each flowbook that changed in a range of commits, or from a commit to the working tree, and an index of "
    "them; the FILEs are then paths, as 'git diff' takes them. A merge given as COMMIT^! is compared with its first "
    "parent. Pages that would not change are left as they are, those of earlier runs that show no change of this one "
    "are named, or removed with --prune, and the exit code is 0 for any change.";

constexpr char kDiffExamples[] = "flowbook diff old.tqx new.tqx\n"
                                 "flowbook diff yesterday today\n"
                                 "flowbook diff --html old.tqx new.tqx -o changes.html\n"
                                 "flowbook diff --html --git main..topic -d changes";

constexpr auto kDiffOptions = optionTable(
    place<&DiffOptions::files>("FILE...", "Two flowbooks or two folders, the older first"),
    flag<&DiffOptions::html>("--html", '\0', "Make a page").in(OptionGroup::Output),
    flag<&DiffOptions::show>("--show", '\0', "Open the page in the browser").needs("--html").in(OptionGroup::Output),
    option<&DiffOptions::range>("--git", '\0', "RANGE", "Compare what changed in a range of commits")
        .needs("--directory"),
    option<&DiffOptions::name>("--name", '\0', "NAME", "What the page calls the flowbook").needs("--html"),
    kOutput<&DiffOptions::output>.needs("--html").excludes("--directory"), kFolder<&DiffOptions::folder>.needs("--git"),
    kForce<&DiffOptions::force>,
    flag<&DiffOptions::prune>("--prune", '\0', "Remove pages of earlier runs that show no change of this one")
        .needs("--git")
        .in(OptionGroup::Output),
    flag<&DiffOptions::noOutputs>("--no-outputs", '\0', "Leave outputs out, but for their digests").excludes("--html"),
    kJobs<&DiffOptions::inputs>, kAllowEmpty<&DiffOptions::inputs>, kJson<&DiffOptions::inputs>.excludes("--html"),
    kQuiet<&DiffOptions::quiet>.excludes("--html"));

}  // namespace

const Command kDiff = makeCommand<DiffOptions, kDiffOptions, diffAny>(
    {"diff", "Show how two flowbooks differ", kDiffDescription, kDiffExamples});

}  // namespace flowbook::tool
