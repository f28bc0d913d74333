#include "Commands.hpp"
#include "commands/PageOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"

namespace flowbook::tool {

namespace {

struct ShowOptions {
    std::string file;
};

void show(const Input& input, Report& report) { showInBrowser(pageOf(input, report).html); }

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
