#include "Commands.hpp"
#include "commands/PageOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/Program.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

constexpr char kShowFooter[] =
    "The page, which only you can read, stays in the folder of temporary files, as the browser may take it later.\n\n"
    "Example:\n"
    "  flowbook show analysis.tqx";

void show(const Input& input, Report& report) {
    const kit::Page page = pageOf(input, report);
    TemporaryFolder folder;
    const std::string file = folder.put("page.html", page.html);
    folder.keep();
    try {
        if (const int code = runProgram({"xdg-open", file}); code != 0) {
            throw Failure(ExitCode::InputOutput, "xdg-open ended with " + std::to_string(code));
        }
    } catch (const Failure& failure) {
        throw Failure(ExitCode::InputOutput, std::string(failure.what()) + "; the page is " + file);
    }
}

}  // namespace

void addShowCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("show", "Show a flowbook in the browser", kShowFooter);
    const auto file = std::make_shared<std::string>();
    command.require("FILE", *file, "Flowbook");
    command.run([file, &console] { forInput(console, *file, show); });
}

}  // namespace flowbook::tool
