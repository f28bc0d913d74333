// Makes pages: one, or a folder of them with an index. All names of a folder are planned before the first page is made,
// since each page links to its neighbours.
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
    bool prune = false;
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
    PageFolder folder(*options.folder, options.force);
    const std::vector<InputName> planned = folder.plan(options.inputs.names());
    forEachInput(console, options.inputs, planned, [&](const Input& input, Report& report) {
        folder.add(input.argument(), pageOf(input, report, folder.optionsFor(input.argument())));
    });
    attempt(console, "", [&] { folder.finish(console, options.prune); });
}

constexpr char kHtmlDescription[] =
    "A page is one file that runs nothing and loads nothing: properties, prose and code with numbered "
    "lines, pictures, notes, stored outputs as results, "
    "and, folded, outputs as they are stored, parts and relationships. "
    "The lines of code are "
    "numbered as 'flowbook cat' prints them and can be linked to (#L12). A damaged file gets a page that "
    "says what is wrong and shows what 'flowbook repair' could save of it, and of encrypted code the page gives size "
    "and digest.\n\n"
    "With -d each flowbook gets a page of its own, listed in index.html with those that the folder has "
    "already. Names of pages are made of the canonical paths of the flowbooks, and stay when flowbooks and pages "
    "are moved together. Pages that would not change are left as they are; one that somebody changed, and a file that "
    "this command did not make, is replaced with --force only. Pages whose flowbook is gone are named; "
    "--prune removes them. A run waits until another one in the same folder has ended.";

constexpr char kHtmlExamples[] = "flowbook html analysis.tqx -o analysis.html\n"
                                 "flowbook html folder -d pages --prune";

constexpr auto kHtmlOptions =
    optionTable(kInputs<&HtmlOptions::inputs>, kOutput<&HtmlOptions::output>.excludes("--directory"),
                kFolder<&HtmlOptions::folder>, kForce<&HtmlOptions::force>,
                flag<&HtmlOptions::prune>("--prune", '\0', "Remove pages whose flowbook is gone")
                    .needs("--directory")
                    .in(OptionGroup::Output));

void makePages(Console& console, HtmlOptions& options) {
    options.folder ? makeAll(console, options) : makeOne(console, options);
}

}  // namespace

const Command kHtml = makeCommand<HtmlOptions, kHtmlOptions, makePages>(
    {"html", "Make pages of flowbooks", kHtmlDescription, kHtmlExamples});

}  // namespace flowbook::tool
