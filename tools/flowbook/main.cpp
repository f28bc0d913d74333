#include "Commands.hpp"
#include "flowbook/FlowbookVersion.hpp"
#include "inputs/Attempt.hpp"

namespace flowbook::tool {
namespace {

constexpr char kFooter[] = "'-' names standard input or output. 'flowbook COMMAND --help' tells more.\n\n"
                           "Exit codes: 0 fine, 1 a negative finding, 2 usage, 3 input or output,\n"
                           "4 not a flowbook or damaged, 5 encrypted, 6 over a limit.\n"
                           "With several files the highest counts.";

void addCommands(CLI::App& app, Console& console) {
    app.require_subcommand(1);
    app.footer(kFooter);
    app.set_version_flag("--version",
                         std::string("flowbook ") + libpxflowbook_version + " (" + libpxflowbook_build_date + ")");
    addCatCommand(app, console);
    addInfoCommand(app, console);
    addPartsCommand(app, console);
    addExtractCommand(app, console);
    addNewCommand(app, console);
    addSetCommand(app, console);
    addCopyCommand(app, console);
}

void run(Console& console, int argc, char** argv) {
    CLI::App app("Reads and writes flowbook files (.tqx, .tqapp).", "flowbook");
    addCommands(app, console);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        console.out().write(app.help());
    } catch (const CLI::CallForVersion& version) {
        console.out().line(version.what());
    } catch (const CLI::ParseError& error) {
        console.report(ExitCode::Usage, std::string(error.what()) + " (see flowbook --help)");
    }
}

}  // namespace
}  // namespace flowbook::tool

int main(int argc, char** argv) {
    flowbook::tool::Console console;
    flowbook::tool::attempt(console, "internal failure", nullptr, [&] { flowbook::tool::run(console, argc, argv); });
    return static_cast<int>(console.finish());
}
