#include "Commands.hpp"
#include "commands/GitSetup.hpp"
#include "commands/TextOf.hpp"
#include "io/ForEachInput.hpp"
#include "kit/compare/TextForm.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

constexpr char kGitFooter[] =
    "setup has git compare and merge flowbooks by this command, in this repository or, with --global,\n"
    "in all of yours; it prints every line that it writes, and --undo takes them back.\n"
    "textconv prints a flowbook as lines for comparing: properties, parts with their digests, prose\n"
    "and code. What cannot be read is a line in brackets, and the exit code stays 0, so that one\n"
    "bad file does not end a log.\n\n"
    "Examples:\n"
    "  flowbook git setup\n"
    "  flowbook git textconv analysis.tqx";

struct GitOptions {
    std::string action;
    std::vector<std::string> files;
    bool global = false;
    bool local = false;
    bool undo = false;
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
    } else if (options.action == "textconv" && options.files.size() == 1) {
        console.out().write(textOrFault(options.files.front()));
    } else {
        throw Failure(ExitCode::Usage, "'git' takes 'setup', or 'textconv' and a file (see flowbook help git)");
    }
}

}  // namespace

void addGitCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("git", "Do for git what it asks of a driver", kGitFooter);
    const auto options = std::make_shared<GitOptions>();
    command.require("ACTION", options->action, "setup or textconv");
    command.take("FILE", options->files, "Flowbook, for textconv");
    command.flag("--global", options->global, "Set up all repositories of the user");
    command.flag("--local", options->local, "Set up this repository, as without");
    command.flag("--undo", options->undo, "Take back what setup wrote");
    command.exclude("--global", "--local");
    command.run([options, &console] { attempt(console, "", [&] { runGit(console, *options); }); });
}

}  // namespace flowbook::tool
