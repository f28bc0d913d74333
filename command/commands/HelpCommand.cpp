#include "Commands.hpp"

namespace flowbook::tool {

namespace {

struct HelpOptions {
    std::optional<std::string> command;
    bool json = false;
};

constexpr char kHelpDescription[] = "Prints a line for each command, or what one command does and takes.";

constexpr char kHelpExamples[] = "flowbook help cat\n"
                                 "flowbook help --json | jq -r .name";

constexpr auto kHelpOptions = optionTable(
    place<&HelpOptions::command>("COMMAND", "The command that is asked about"),
    flag<&HelpOptions::json>("--json", '\0', "Print the table of options, one JSON object a line and command")
        .in(OptionGroup::Output));

void help(Console& console, HelpOptions& options) {
    const CommandList all = allCommands();
    if (!options.command) {
        options.json ? printTable(console.out(), all) : printOverview(console.out(), all);
        return;
    }
    const Command* const one = &all.get(*options.command);
    options.json ? printTable(console.out(), {&one, 1}) : printHelp(console.out(), *one);
}

}  // namespace

const Command kHelp =
    makeCommand<HelpOptions, kHelpOptions, help>({"help", "Print help", kHelpDescription, kHelpExamples});

}  // namespace flowbook::tool
