// Rewrites flowbooks in one fixed form, in which equal contents are equal bytes: git and other stores then keep them
// once. A file that has this form already is not written, so its time stays.
#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/HeldFile.hpp"
#include "io/SharedOptions.hpp"
#include "kit/package/PackageContent.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

struct CanonOptions {
    ChangeOptions change;
    bool check = false;
    bool stored = false;
};

bool canon(const Input& input, const CanonOptions& options) {
    using opc::interfaces::CompressionType;
    HeldFile file(input);
    const kit::Document document = file.document();
    kit::ReadAhead read(
        document, [&file] { return file.document(); }, partsInOrder(document), input.threads());
    const auto compression = options.stored ? CompressionType::None : CompressionType::Normal;
    const Bytes canonical = kit::canonical(document, compression, std::ref(read));
    if (file.holds(canonical)) {
        return false;
    }
    // A signature covers bytes; in another form it would be broken.
    if (kit::isSigned(document)) {
        throw Failure(ExitCode::NegativeFinding, "it is signed, and left as it is");
    }
    if (!options.change.dryRun) {
        file.replace(canonical);
    }
    return true;
}

constexpr char kCanonDescription[] =
    "Rewrites the container in one fixed form: order, times, compression and content types; ids and order "
    "of relationships stay. Equal contents then are equal files; one in that form is left alone.\n\n"
    "With --stored nothing is deflated, as in the history of a repository with 'flowbook git setup --filter': "
    "versions of such files share what stayed the same. Saving keeps entries stored.";

constexpr char kCanonExamples[] = "flowbook canon analysis.tqx\n"
                                  "flowbook canon --check folder\n"
                                  "flowbook canon --stored analysis.tqx";

constexpr auto kCanonOptions =
    optionTable(kChanges<&CanonOptions::change>,
                flag<&CanonOptions::check>("--check", '\0', "As --dry-run, but end with 1 if a file would change"),
                flag<&CanonOptions::stored>("--stored", '\0', "Store everything instead of deflating it"));

void canonAll(Console& console, CanonOptions& options) {
    options.change.dryRun = options.change.dryRun || options.check;
    changeEachInput(console, options.change, [&](const Input& input, Report& report) {
        const bool isChanged = canon(input, options);
        report.note(isChanged && options.check ? ExitCode::NegativeFinding : ExitCode::Fine);
        return isChanged;
    });
}

}  // namespace

const Command kCanon = makeCommand<CanonOptions, kCanonOptions, canonAll>(
    {"canon", "Rewrite flowbooks in one fixed form", kCanonDescription, kCanonExamples});

}  // namespace flowbook::tool
