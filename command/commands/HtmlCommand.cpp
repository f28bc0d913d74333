#include "Commands.hpp"
#include "commands/PageFolder.hpp"
#include "commands/PageOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Failure.hpp"

#include <optional>

namespace flowbook::tool {

namespace {

struct HtmlOptions {
    InputOptions inputs;
    std::optional<std::string> output;
    std::optional<std::string> folder;
    bool force = false;
};

void makeOne(Console& console, const HtmlOptions& options) {
    forEachInput(console, options.inputs, onlyInput(options.inputs), [&](const Input& input, Report& report) {
        const kit::Page page = pageOf(input, report);
        if (options.output) {
            putFile(report, *options.output, Bytes(page.html.begin(), page.html.end()), {options.force, true});
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

constexpr char kHtmlDescription[] =
    "A page is one file that runs nothing and loads nothing: properties, prose and code with numbered "
    "lines, pictures, and, folded, stored outputs, parts and relationships. The lines of code are "
    "numbered as 'flowbook cat' prints them and can be linked to (#L12). A damaged file gets a page that "
    "says what is wrong, and of encrypted code the page tells size and digest.\n\n"
    "With -d each flowbook gets a page of its own, listed in index.html. Names of pages are made of those "
    "of the inputs, as given, and a digest of them. Pages that would not change are left as they are, and "
    "a file that this command did not make is not replaced.";

constexpr char kHtmlExamples[] = "flowbook html analysis.tqx -o analysis.html\n"
                                 "flowbook html folder -d pages";

constexpr auto kHtmlOptions =
    optionTable(kInputs<&HtmlOptions::inputs>, kOutput<&HtmlOptions::output>.excludes("--directory"),
                kFolder<&HtmlOptions::folder>, kForce<&HtmlOptions::force>.excludes("--directory"));

void makePages(Console& console, HtmlOptions& options) {
    options.folder ? makeAll(console, options) : makeOne(console, options);
}

}  // namespace

const Command kHtml = makeCommand<HtmlOptions, kHtmlOptions, makePages>(
    {"html", "Make pages of flowbooks", kHtmlDescription, kHtmlExamples});

}  // namespace flowbook::tool
