#include "Commands.hpp"
#include "flowbook/FlowbookVersion.hpp"
#include "io/ForEachInput.hpp"

#include <algorithm>
#include <csignal>
#include <iterator>
#include <string_view>

namespace flowbook::tool {
namespace {

constexpr char kProgramFooter[] = "'-' names standard input or output. 'flowbook help COMMAND' tells more.\n\n"
                                  "Exit codes: 0 fine, 1 a negative finding, 2 usage, 3 input or output,\n"
                                  "4 not a flowbook or damaged, 5 encrypted, 6 over a limit.\n"
                                  "With several files the highest counts.";

struct Command {
    std::string_view name;
    void (*add)(CommandLine& line, Console& console);
};

constexpr Command kCommands[] = {
    {"cat", addCatCommand},         {"grep", addGrepCommand},   {"info", addInfoCommand},    {"parts", addPartsCommand},
    {"extract", addExtractCommand}, {"html", addHtmlCommand},   {"show", addShowCommand},    {"new", addNewCommand},
    {"set", addSetCommand},         {"edit", addEditCommand},   {"pack", addPackCommand},    {"copy", addCopyCommand},
    {"digest", addDigestCommand},   {"diff", addDiffCommand},   {"merge", addMergeCommand},  {"git", addGitCommand},
    {"check", addCheckCommand},     {"canon", addCanonCommand}, {"repair", addRepairCommand}};

/// The options of all commands take longer to describe than most commands take, so only those of the one that is asked
/// for are, unless none is.
void addCommands(CommandLine& line, Console& console, const std::vector<std::string>& arguments) {
    const std::size_t place = !arguments.empty() && arguments.front() == "help" ? 1 : 0;
    const auto isAskedFor = [&](const Command& each) {
        return arguments.size() > place && arguments[place] == each.name;
    };
    const auto* const asked = std::find_if(std::begin(kCommands), std::end(kCommands), isAskedFor);
    const bool isOne = asked != std::end(kCommands);
    std::for_each(isOne ? asked : std::begin(kCommands), isOne ? asked + 1 : std::end(kCommands),
                  [&](const Command& each) { each.add(line, console); });
}

void run(Console& console, const std::vector<std::string>& arguments) {
    CommandLine line("flowbook", "Reads and writes flowbook files (.tqx, .tqapp).", kProgramFooter,
                     std::string("flowbook ") + libpxflowbook_version + " (" + libpxflowbook_build_date + ")");
    addCommands(line, console, arguments);
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
