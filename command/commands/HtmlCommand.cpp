#include "Commands.hpp"
#include "commands/PageFolder.hpp"
#include "commands/PageOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "terminal/Failure.hpp"

#include <optional>

namespace flowbook::tool {

namespace {

constexpr char kHtmlFooter[] =
    "A page is one file that runs nothing and loads nothing: properties, prose and code with numbered lines, "
    "pictures,\n"
    "and, folded, stored outputs, parts and relationships. A damaged file gets a page that says what is wrong.\n"
    "With -d each flowbook gets a page of its own, listed in index.html; pages that would not change are left as\n"
    "they are, and none that this command did not make is replaced.\n\n"
    "Examples:\n"
    "  flowbook html analysis.tqx -o analysis.html\n"
    "  flowbook html folder -d pages";

struct HtmlOptions {
    InputOptions inputs;
    std::optional<std::string> output;
    std::optional<std::string> folder;
    bool force = false;
};

/// What there is one page of; a list that came by standard input is read once.
InputOptions onlyInput(const InputOptions& inputs) {
    const std::vector<InputName> names = inputs.names();
    if (names.size() > 1) {
        throw Failure(ExitCode::Usage, "pages of several flowbooks take a folder; name it with -d");
    }
    InputOptions only;
    for (const InputName& name : names) {
        only.files.push_back(name.path);
    }
    return only;
}

void makeOne(Console& console, const HtmlOptions& options) {
    forEachInput(console, onlyInput(options.inputs), [&](const Input& input, Report& report) {
        const kit::Page page = pageOf(input, report);
        if (options.output) {
            putFile(report, *options.output, Bytes(page.html.begin(), page.html.end()), options.force);
        } else {
            report.write(std::string_view(page.html));
        }
    });
}

void makeAll(Console& console, const HtmlOptions& options) {
    PageFolder folder(*options.folder);
    forEachInput(console, options.inputs,
                 [&](const Input& input, Report& report) { folder.add(input.argument(), pageOf(input, report)); });
    folder.writeIndex();
}

}  // namespace

void addHtmlCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("html", "Make pages of flowbooks", kHtmlFooter);
    const auto options = std::make_shared<HtmlOptions>();
    options->inputs.addTo(command);
    command.allow("-o,--output", options->output, "Where the page goes (standard output)");
    command.allow("-d,--directory", options->folder, "Folder for a page each, and an index; made if there is none");
    command.exclude("--output", "--directory");
    command.flag("--force", options->force, "Replace the file that -o names");
    command.exclude("--force", "--directory");
    command.run([options, &console] {
        attempt(console, "", [&] { options->folder ? makeAll(console, *options) : makeOne(console, *options); });
    });
}

}  // namespace flowbook::tool
