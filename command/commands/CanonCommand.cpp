#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/HeldFile.hpp"
#include "io/SharedOptions.hpp"
#include "kit/package/PackageContent.hpp"

namespace flowbook::tool {

namespace {

struct CanonOptions {
    InputOptions inputs;
    bool check = false;
};

void canon(const Input& input, Report& report, bool onlyCheck) {
    HeldFile file(input);
    const Bytes canonical = kit::canonical(kit::Document(file.bytes()));
    if (canonical == file.bytes()) {
        return;
    }
    if (onlyCheck) {
        report.line(input.argument());
        report.note(ExitCode::NegativeFinding);
    } else {
        file.replace(canonical);
    }
}

constexpr char kCanonDescription[] =
    "Rewrites the container in one fixed form: order, times, compression and content types; ids and order "
    "of relationships stay. Equal contents then are equal files; one in that form is left alone.";

constexpr char kCanonExamples[] = "flowbook canon analysis.tqx\n"
                                  "flowbook canon --check folder";

constexpr auto kCanonOptions = optionTable(
    kInputs<&CanonOptions::inputs>,
    flag<&CanonOptions::check>("--check", '\0', "Change nothing; name the files that would change and end with 1"));

void canonAll(Console& console, CanonOptions& options) {
    forEachInput(
        console, options.inputs, [&](const Input& input, Report& report) { canon(input, report, options.check); },
        Input::Purpose::Update);
}

}  // namespace

const Command kCanon = makeCommand<CanonOptions, kCanonOptions, canonAll>(
    {"canon", "Rewrite flowbooks in one fixed form", kCanonDescription, kCanonExamples});

}  // namespace flowbook::tool
