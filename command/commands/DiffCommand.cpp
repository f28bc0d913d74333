#include "Commands.hpp"
#include "commands/ChangePages.hpp"
#include "commands/PageOf.hpp"
#include "commands/TextOf.hpp"
#include "io/NewFile.hpp"
#include "io/Program.hpp"
#include "io/SharedOptions.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"

#include <cstdlib>
#include <optional>

namespace flowbook::tool {

namespace {

struct DiffOptions {
    std::vector<std::string> files;
    bool html = false;
    bool show = false;
    bool force = false;
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
    const std::string a = folder.put("a", textOf(nameOfA, !options.noOutputs, &limit));
    const std::string b = folder.put("b", textOf(nameOfB, !options.noOutputs, &limit));
    const char* const noColour = std::getenv("NO_COLOR");
    const std::string colour = noColour != nullptr && *noColour != '\0' ? "never" : "auto";
    const int code = runProgram({"diff", "-u", "--color=" + colour, "--label", nameOfA, "--label", nameOfB, a, b});
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
    const bool isSame = textOf(a, true, &limit) == textOf(b, true, &limit);
    note(console, isSame, limit);
}

void diffGit(Console& console, const DiffOptions& options) {
    if (!options.html || !options.folder) {
        throw Failure(ExitCode::Usage, "--git makes pages: it takes --html and a folder, -d");
    }
    writeGitChanges(console, {*options.range, options.files, *options.folder, options.force});
}

void diffAny(Console& console, DiffOptions& options) {
    if (options.range) {
        diffGit(console, options);
    } else if (options.files.size() != 2) {
        throw Failure(ExitCode::Usage, "'diff' takes two flowbooks");
    } else {
        options.html ? diffHtml(console, options) : diffText(console, options);
    }
}

constexpr char kDiffDescription[] =
    "Compares what 'flowbook git textconv' prints, by diff(1). Ends with 0 when the contents are the "
    "same, with 1 when they differ, with 6 when one is beyond a limit. Colours appear on a terminal, unless NO_COLOR "
    "is set.\n\n"
    "With --html it makes a page that shows what changed: properties, text and code by line with the changed words "
    "marked, outputs, and pictures before and after. '/dev/null' stands for no flowbook. With --git it makes a page "
    "for each flowbook that changed in a range of commits, or from a commit to the working tree, and an index of "
    "them; the FILEs are then paths, as 'git diff' takes them. A merge given as COMMIT^! is compared with its first "
    "parent. Pages that would not change are left as they are, and the exit code is 0 whatever has changed.";

constexpr char kDiffExamples[] = "flowbook diff old.tqx new.tqx\n"
                                 "flowbook diff --html old.tqx new.tqx -o changes.html\n"
                                 "flowbook diff --html --git main..topic -d changes";

constexpr auto kDiffOptions = optionTable(
    place<&DiffOptions::files>("FILE...", "Two flowbooks, the older one first"),
    flag<&DiffOptions::html>("--html", '\0', "Make a page").in(OptionGroup::Output),
    flag<&DiffOptions::show>("--show", '\0', "Open the page in the browser").needs("--html").in(OptionGroup::Output),
    option<&DiffOptions::range>("--git", '\0', "RANGE", "Compare what changed in a range of commits")
        .needs("--directory"),
    option<&DiffOptions::name>("--name", '\0', "NAME", "What the page calls the flowbook").needs("--html"),
    kOutput<&DiffOptions::output>.needs("--html").excludes("--directory"), kFolder<&DiffOptions::folder>.needs("--git"),
    kForce<&DiffOptions::force>,
    flag<&DiffOptions::noOutputs>("--no-outputs", '\0', "Leave outputs out, but for their digests").excludes("--html"));

}  // namespace

const Command kDiff = makeCommand<DiffOptions, kDiffOptions, diffAny>(
    {"diff", "Show how two flowbooks differ", kDiffDescription, kDiffExamples});

}  // namespace flowbook::tool
