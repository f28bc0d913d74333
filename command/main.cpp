#include "Commands.hpp"
#include "flowbook/FlowbookVersion.hpp"
#include "io/ForEachInput.hpp"
#include "io/Interruption.hpp"
#include "io/Program.hpp"
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
    flowbook::tool::takeOverSignals();
    flowbook::tool::Console console;
    try {
        flowbook::tool::attempt(console, "", [&] { flowbook::tool::run(console, {argv + 1, argv + argc}); });
    } catch (const flowbook::tool::Interrupted&) {
        // What was temporary is gone, and with it the reason to wait: the signal ends the process like any other.
        std::raise(flowbook::tool::Interruption::signal());
    }
    return static_cast<int>(console.finish());
}
