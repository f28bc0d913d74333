// Removes outputs and pictures that nothing refers to, which make most of the size of a flowbook and can be made again
// by running its code.
#include "Commands.hpp"
#include "io/OpenDocument.hpp"
#include "io/SharedOptions.hpp"
#include "kit/package/PackageContent.hpp"
#include "kit/package/Strip.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

struct StripOptions {
    ChangeOptions change;
    bool check = false;
};

void print(const std::string& file, const kit::Strippable& what, Report& report) {
    for (const std::string& part : what.parts) {
        report.line(printable(file + ": " + part));
    }
    if (what.parts.empty()) {
        report.line(printable(file + ": relationships to outputs that are not there"));
    }
}

bool stripFile(const Input& input, Report& report, const ChangeOptions& options) {
    const kit::Document document = openDocument(input);
    const kit::Strippable what = kit::findStrippable(document);
    if (what.empty()) {
        return false;
    }
    if (kit::isSigned(document)) {
        throw Failure(ExitCode::NegativeFinding, "it is signed, and left as it is");
    }
    if (!options.dryRun) {
        opc::zippackage::ZipPhysicalPackage container(input.name(), opc::FileSystemOpsSelector(input.storage()), true);
        opc::model::Package package(container);
        package.open(opc::interfaces::OpenMode::Update);
        kit::strip(package, what);
        package.close();
    }
    if (!options.quiet && !options.inputs.json && !input.isStandardInput()) {
        print(input.argument(), what, report);
    }
    return true;
}

constexpr char kStripDescription[] =
    "Removes outputs, which running the code makes again, with what only they lead to, and pictures that "
    "nothing refers to: no relationship leads to them, or one of rich code that the text does not mention. "
    "All else stays as it is stored. Prints the parts that went, one a line, behind the name of the file.";

constexpr char kStripExamples[] = "flowbook strip analysis.tqx\n"
                                  "flowbook strip --check folder";

constexpr auto kStripOptions =
    optionTable(kChanges<&StripOptions::change>,
                flag<&StripOptions::check>("--check", '\0', "As --dry-run, but end with 1 if a file would change"));

void stripAll(Console& console, StripOptions& options) {
    options.change.dryRun = options.change.dryRun || options.check;
    changeEachInput(console, options.change, [&](const Input& input, Report& report) {
        const bool isChanged = stripFile(input, report, options.change);
        report.note(isChanged && options.check ? ExitCode::NegativeFinding : ExitCode::Fine);
        return isChanged;
    });
}

}  // namespace

const Command kStrip = makeCommand<StripOptions, kStripOptions, stripAll>(
    {"strip", "Remove outputs and pictures that nothing refers to", kStripDescription, kStripExamples});

}  // namespace flowbook::tool
