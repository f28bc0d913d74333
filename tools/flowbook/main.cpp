#include "Commands.hpp"
#include "flowbook/FlowbookVersion.hpp"
#include "inputs/ForEachInput.hpp"

#include <csignal>

namespace flowbook::tool {
namespace {

constexpr char kProgramFooter[] = "'-' names standard input or output. 'flowbook help COMMAND' tells more.\n\n"
                                  "Exit codes: 0 fine, 1 a negative finding, 2 usage, 3 input or output,\n"
                                  "4 not a flowbook or damaged, 5 encrypted, 6 over a limit.\n"
                                  "With several files the highest counts.";

void addCommands(CommandLine& line, Console& console) {
    addCatCommand(line, console);
    addGrepCommand(line, console);
    addInfoCommand(line, console);
    addPartsCommand(line, console);
    addExtractCommand(line, console);
    addHtmlCommand(line, console);
    addShowCommand(line, console);
    addNewCommand(line, console);
    addSetCommand(line, console);
    addEditCommand(line, console);
    addPackCommand(line, console);
    addCopyCommand(line, console);
    addDigestCommand(line, console);
    addDiffCommand(line, console);
    addMergeCommand(line, console);
    addGitCommand(line, console);
    addCheckCommand(line, console);
    addCanonCommand(line, console);
    addRepairCommand(line, console);
}

void run(Console& console, const std::vector<std::string>& arguments) {
    CommandLine line("flowbook", "Reads and writes flowbook files (.tqx, .tqapp).", kProgramFooter,
                     std::string("flowbook ") + libpxflowbook_version + " (" + libpxflowbook_build_date + ")");
    addCommands(line, console);
    line.parse(arguments, console);
}

}  // namespace
}  // namespace flowbook::tool

int main(int argc, char** argv) {
    // A file that may not grow further is an error like a full disk, not the end of the process.
    std::signal(SIGXFSZ, SIG_IGN);
    flowbook::tool::Console console;
    flowbook::tool::attempt(console, "internal failure", [&] {
        flowbook::tool::run(console, {argv + 1, argv + argc});
    });
    return static_cast<int>(console.finish());
}
