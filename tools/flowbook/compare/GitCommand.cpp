#include "Commands.hpp"
#include "compare/TextOf.hpp"
#include "inputs/ForEachInput.hpp"
#include "kit/text/TextForm.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

constexpr char kFooter[] =
    "textconv prints a flowbook as lines for comparing: properties, parts with their digests, prose\n"
    "and code. What cannot be read is a line in brackets, and the exit code stays 0, so that one\n"
    "bad file does not end a log.\n\n"
    "Example:\n"
    "  git config diff.flowbook.textconv 'flowbook git textconv'\n"
    "  git config merge.flowbook.driver 'flowbook merge %O %A %B'\n"
    "  echo '*.tqx diff=flowbook merge=flowbook' >> .gitattributes";

struct GitOptions {
    std::string action;
    std::string file;
};

std::string textOrFault(const std::string& file) {
    try {
        return textOf(file);
    } catch (const std::exception& failure) {
        return "[damaged: " + kit::printable(failure.what()) + "]\n";
    }
}

void runGit(Console& console, const GitOptions& options) {
    if (options.action != "textconv") {
        throw Failure(ExitCode::Usage, "git " + options.action + ": no such action; there is textconv");
    }
    console.out().write(textOrFault(options.file));
}

}  // namespace

void addGitCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("git", "Do for git what it asks of a driver", kFooter);
    const auto options = std::make_shared<GitOptions>();
    command.require("ACTION", options->action, "textconv");
    command.require("FILE", options->file, "Flowbook");
    command.run([options, &console] { attempt(console, "", [&] { runGit(console, *options); }); });
}

}  // namespace flowbook::tool
