#include "Commands.hpp"
#include "commands/GitFilter.hpp"
#include "commands/GitHook.hpp"
#include "commands/GitSetup.hpp"
#include "commands/GitTools.hpp"
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
    GitSetup setup;
    bool local = false;
    bool undo = false;
    bool check = false;
    bool noOutputs = false;
    std::optional<unsigned> form;
};

/// What makes a file no flowbook is shown in its place, as git would stop at a failure. A file that cannot be read is
/// one: git keeps the text of a version, and shows it ever after.
std::string textOrFault(const std::string& file, bool outputs) {
    try {
        return textOf(file, outputs);
    } catch (const std::exception& failure) {
        if (diagnose().code == ExitCode::InputOutput) {
            throw;
        }
        return "[damaged: " + kit::withoutControls(failure.what()) + "]\n";
    }
}

void setUp(Console& console, const GitOptions& options) {
    if (options.check) {
        console.note(checkGitSetup(console) ? ExitCode::Fine : ExitCode::NegativeFinding);
    } else if (options.undo) {
        undoGitSetup(console, options.setup);
    } else {
        setUpGit(console, options.setup);
    }
}

void textconv(Console& console, const GitOptions& options) {
    // git caches texts by the command line that makes them. The form is a part of it, so that texts of an older form
    // are not used; a command that does not write the form that git asks for says so.
    if (options.form && *options.form != kit::kTextFormVersion) {
        console.say("git is set up for another form of texts; 'flowbook git setup' renews it");
    }
    console.out().write(textOrFault(options.files.front(), !options.noOutputs));
}

void gitAct(Console& console, GitOptions& options) {
    const std::string& action = options.action;
    const std::size_t count = options.files.size();
    if (action == "setup" && count == 0) {
        setUp(console, options);
    } else if (action == "textconv" && count == 1) {
        textconv(console, options);
    } else if (action == "filter" && count == 0) {
        serveGitFilter(console, options.setup.stripOutputs);
    } else if ((action == "clean" || action == "smudge") && count == 0) {
        filterOnce(console, action == "clean" ? FilterWay::Clean : FilterWay::Smudge, options.setup.stripOutputs);
    } else if (action == "hook" && count == 0) {
        checkStagedFlowbooks(console);
    } else if (action == "mergetool" && count == 4) {
        runMergeTool(console, {options.files[0], options.files[1], options.files[2], options.files[3]});
    } else if (action == "difftool" && count == 3) {
        runDiffTool(console, options.files[0], options.files[1], options.files[2]);
    } else {
        throw Failure(ExitCode::Usage, "'git' takes 'setup', 'textconv FILE', 'hook', 'filter', 'clean', 'smudge', "
                                       "'mergetool BASE LOCAL REMOTE MERGED' or 'difftool LOCAL REMOTE MERGED' (see "
                                       "flowbook help git)");
    }
}

constexpr char kGitDescription[] =
    "setup has git(1) compare and merge flowbooks by this command, in this repository or, with --global, "
    "in all of yours; it prints every line that it writes. Once more, it renews what an earlier version "
    "wrote. --undo takes it back, puts back what the user had before, and removes the texts that git cached. "
    "--check reports what is missing, and ends with 1 if anything is.\n\n"
    "With --filter, git keeps flowbooks stored instead of deflated, so that versions share what stayed the "
    "same; files in the working tree are deflated as ever. With --strip-outputs as well, outputs stay out of "
    "the history. With --hook, 'git commit' checks the flowbooks that are staged.\n\n"
    "textconv prints a flowbook as lines for comparing: properties, parts, prose and code, and outputs. What "
    "cannot be read is a line in brackets, and the exit code stays 0, so that one bad file does not end a log.\n\n"
    "The other actions are for git: filter is a filter that stays for all files, clean and smudge filter one "
    "file, hook checks what is staged, mergetool has your own merge tool merge the code as text, and difftool shows "
    "flowbooks as pages and hands other files to your own tool.";

constexpr char kGitExamples[] = "flowbook git setup\n"
                                "flowbook git textconv analysis.tqx";

constexpr auto kGitOptions = optionTable(
    place<&GitOptions::action>("ACTION", "setup, textconv, or what git calls"),
    place<&GitOptions::files>("FILE", "What the action works on"),
    flag<&GitOptions::setup, &GitSetup::isGlobal>("--global", '\0', "Set up all repositories of the user")
        .excludes("--local --hook"),
    flag<&GitOptions::local>("--local", '\0', "Set up this repository").defaultsTo("the default"),
    flag<&GitOptions::undo>("--undo", '\0', "Take back what setup wrote").excludes("--check"),
    flag<&GitOptions::check>("--check", '\0', "Report what setup would have to write"),
    flag<&GitOptions::setup, &GitSetup::filter>("--filter", '\0', "Keep flowbooks stored in the history"),
    flag<&GitOptions::setup, &GitSetup::stripOutputs>("--strip-outputs", '\0', "Leave outputs out of the history"),
    flag<&GitOptions::setup, &GitSetup::hook>("--hook", '\0', "Check what is staged before each commit"),
    flag<&GitOptions::noOutputs>("--no-outputs", '\0', "Print digests of outputs instead of outputs"),
    option<&GitOptions::form>("--form", '\0', "N", "The form of texts that setup wrote for git"));

}  // namespace

const Command kGit = makeCommand<GitOptions, kGitOptions, gitAct>(
    {"git", "Do for git what it asks of a driver", kGitDescription, kGitExamples});

}  // namespace flowbook::tool
