#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/HeldFile.hpp"
#include "io/SharedOptions.hpp"
#include "kit/package/PackageContent.hpp"

namespace flowbook::tool {

namespace {

struct CanonOptions {
    ChangeOptions change;
    bool check = false;
};

bool canon(const Input& input, bool dryRun) {
    HeldFile file(input);
    const Bytes canonical = kit::canonical(kit::Document(file.bytes(), input.name()));
    if (canonical == file.bytes()) {
        return false;
    }
    if (!dryRun) {
        file.replace(canonical);
    }
    return true;
}

constexpr char kCanonDescription[] =
    "Rewrites the container in one fixed form: order, times, compression and content types; ids and order "
    "of relationships stay. Equal contents then are equal files; one in that form is left alone.";

constexpr char kCanonExamples[] = "flowbook canon analysis.tqx\n"
                                  "flowbook canon --check folder";

constexpr auto kCanonOptions =
    optionTable(kChanges<&CanonOptions::change>,
                flag<&CanonOptions::check>("--check", '\0', "As --dry-run, but end with 1 if a file would change"));

void canonAll(Console& console, CanonOptions& options) {
    options.change.dryRun = options.change.dryRun || options.check;
    changeEachInput(console, options.change, [&](const Input& input, Report& report) {
        const bool isChanged = canon(input, options.change.dryRun);
        report.note(isChanged && options.check ? ExitCode::NegativeFinding : ExitCode::Fine);
        return isChanged;
    });
}

}  // namespace

const Command kCanon = makeCommand<CanonOptions, kCanonOptions, canonAll>(
    {"canon", "Rewrite flowbooks in one fixed form", kCanonDescription, kCanonExamples});

}  // namespace flowbook::tool
