#include "Commands.hpp"
#include "flowbook/FlowbookVersion.hpp"
#include "io/ForEachInput.hpp"
#include "io/Interruption.hpp"
#include "io/Program.hpp"
#include "terminal/Failure.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

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

/// Opens what the caller has closed of standard input, output and error: the next file that is opened would get the
/// number of one of them, and what is meant for it. Each is opened the wrong way round, so that using it still fails.
void occupyStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) == -1 && errno == EBADF) {
            // The lowest number that is free is this one.
            [[maybe_unused]] const int opened = ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

}  // namespace
}  // namespace flowbook::tool

int main(int argc, char** argv) {
    flowbook::tool::occupyStandardDescriptors();
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
