#include "Commands.hpp"
#include "flowbook/FlowbookVersion.hpp"
#include "inputs/Attempt.hpp"

namespace flowbook::tool {
namespace {

constexpr char kFooter[] = "'-' names standard input or output. 'flowbook COMMAND --help' tells more.\n\n"
                           "Exit codes: 0 fine, 1 a negative finding, 2 usage, 3 input or output,\n"
                           "4 not a flowbook or damaged, 5 encrypted, 6 over a limit.\n"
                           "With several files the highest counts.";

void run(Console& console, int argc, char** argv) {
    CommandLine line("flowbook", "Reads and writes flowbook files (.tqx, .tqapp).", kFooter,
                     std::string("flowbook ") + libpxflowbook_version + " (" + libpxflowbook_build_date + ")");
    addCatCommand(line, console);
    addInfoCommand(line, console);
    addPartsCommand(line, console);
    addExtractCommand(line, console);
    addNewCommand(line, console);
    addSetCommand(line, console);
    addCopyCommand(line, console);
    line.parse(argc, argv, console);
}

}  // namespace
}  // namespace flowbook::tool

int main(int argc, char** argv) {
    flowbook::tool::Console console;
    flowbook::tool::attempt(console, "internal failure", nullptr, [&] { flowbook::tool::run(console, argc, argv); });
    return static_cast<int>(console.finish());
}
