#include "Commands.hpp"
#include "commands/GitFilter.hpp"
#include "commands/GitSetup.hpp"
#include "commands/TextOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/TextForm.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

struct GitOptions {
    std::string action;
    std::vector<std::string> files;
    bool global = false;
    bool local = false;
    bool undo = false;
    bool stripOutputs = false;
};

std::string textOrFault(const std::string& file) {
    try {
        return textOf(file);
    } catch (const std::exception& failure) {
        return "[damaged: " + kit::printable(failure.what()) + "]\n";
    }
}

void runGit(Console& console, const GitOptions& options) {
    const GitScope scope = options.global ? GitScope::Global : GitScope::Local;
    if (options.action == "setup" && options.files.empty()) {
        options.undo ? undoGitSetup(console, scope) : setUpGit(console, scope);
    } else if (options.action == "filter" && options.files.empty()) {
        serveGitFilter(console, options.stripOutputs);
    } else if ((options.action == "clean" || options.action == "smudge") && options.files.empty()) {
        filterOnce(console, options.action == "clean" ? FilterWay::Clean : FilterWay::Smudge, options.stripOutputs);
    } else if (options.action == "textconv" && options.files.size() == 1) {
        console.out().write(textOrFault(options.files.front()));
    } else {
        throw Failure(ExitCode::Usage, "'git' takes 'setup', or 'textconv' and a file (see flowbook help git)");
    }
}

constexpr char kGitDescription[] =
    "setup has git(1) compare and merge flowbooks by this command, in this repository or, with --global, "
    "in all of yours; it prints every line that it writes, and --undo takes them back.\n\n"
    "textconv prints a flowbook as lines for comparing: properties, parts with their digests, prose and "
    "code. What cannot be read is a line in brackets, and the exit code stays 0, so that one bad file "
    "does not end a log.";

constexpr char kGitExamples[] = "flowbook git setup\n"
                                "flowbook git textconv analysis.tqx";

constexpr auto kGitOptions =
    optionTable(place<&GitOptions::action>("ACTION", "setup or textconv"),
                place<&GitOptions::files>("FILE", "Flowbook, for textconv"),
                flag<&GitOptions::global>("--global", '\0', "Set up all repositories of the user").excludes("--local"),
                flag<&GitOptions::local>("--local", '\0', "Set up this repository").defaultsTo("the default"),
                flag<&GitOptions::undo>("--undo", '\0', "Take back what setup wrote"),
                flag<&GitOptions::stripOutputs>("--strip-outputs", '\0', "Leave outputs out of the history"));

void gitAct(Console& console, GitOptions& options) { runGit(console, options); }

}  // namespace

const Command kGit = makeCommand<GitOptions, kGitOptions, gitAct>(
    {"git", "Do for git what it asks of a driver", kGitDescription, kGitExamples});

}  // namespace flowbook::tool
