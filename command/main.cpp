#include "Commands.hpp"
#include "flowbook/FlowbookVersion.hpp"
#include "io/ForEachInput.hpp"
#include "terminal/Failure.hpp"

#include <csignal>

namespace flowbook::tool {
namespace {

void run(Console& console, std::vector<std::string> arguments) {
    if (arguments.empty()) {
        throw Failure(ExitCode::Usage, "no command is named (see flowbook help)");
    }
    const std::string first = arguments.front();
    if (first == "--version" || first == "-V") {
        console.out().line(std::string("flowbook ") + libpxflowbook_version + " (" + libpxflowbook_build_date + ")");
    } else if (first == "--help" || first == "-h") {
        printOverview(console.out(), allCommands());
    } else {
        const Command& command = allCommands().get(first);
        arguments.erase(arguments.begin());
        command.run(command, console, arguments);
    }
}

}  // namespace
}  // namespace flowbook::tool

int main(int argc, char** argv) {
    // A file that may not grow further is an error like a full disk, not the end of the process.
    std::signal(SIGXFSZ, SIG_IGN);
    flowbook::tool::Console console;
    flowbook::tool::attempt(console, "", [&] { flowbook::tool::run(console, {argv + 1, argv + argc}); });
    return static_cast<int>(console.finish());
}
