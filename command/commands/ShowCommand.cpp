// Shows pages in the browser, one after the other in the order in which they are named: browsers open tabs as they
// come.
#include "Commands.hpp"
#include "commands/PageOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

struct ShowOptions {
    std::vector<std::string> files;
};

void show(const Input& input, Report& report) { showInBrowser(pageOf(input, report).html); }

constexpr char kShowDescription[] =
    "Each flowbook gets a page, which is opened with xdg-open(1). The page, which only you can read, stays in the "
    "folder of temporary files, as the browser may take it later. For the flowbooks of a folder 'flowbook html -d' "
    "makes pages with an index.";

constexpr char kShowExamples[] = "flowbook show analysis.tqx";

constexpr auto kShowOptions = optionTable(place<&ShowOptions::files>("FILE...", "Flowbooks"));

void showIn(Console& console, ShowOptions& options) {
    if (options.files.empty()) {
        throw Failure(ExitCode::Usage, "no file is named");
    }
    std::vector<InputName> names;
    for (const std::string& file : options.files) {
        names.push_back({file, "", std::nullopt});
    }
    InputOptions inOrder;
    inOrder.jobs = 1;
    forEachInput(console, inOrder, std::move(names), show);
}

}  // namespace

const Command kShow = makeCommand<ShowOptions, kShowOptions, showIn>(
    {"show", "Show flowbooks in the browser", kShowDescription, kShowExamples});

}  // namespace flowbook::tool
