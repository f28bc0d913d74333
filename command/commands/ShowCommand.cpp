#include "Commands.hpp"
#include "commands/PageOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/Program.hpp"
#include "io/SharedOptions.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

struct ShowOptions {
    std::string file;
};

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

constexpr char kShowDescription[] =
    "The page, which only you can read, stays in the folder of temporary files, as the browser may take "
    "it later. It is opened with xdg-open(1).";

constexpr char kShowExamples[] = "flowbook show analysis.tqx";

constexpr auto kShowOptions = optionTable(place<&ShowOptions::file>("FILE", "Flowbook"));

void showIn(Console& console, ShowOptions& options) { forInput(console, options.file, show); }

}  // namespace

const Command kShow = makeCommand<ShowOptions, kShowOptions, showIn>(
    {"show", "Show a flowbook in the browser", kShowDescription, kShowExamples});

}  // namespace flowbook::tool
