#include "Commands.hpp"
#include "commands/GitLineMerger.hpp"
#include "io/ForEachInput.hpp"
#include "io/HeldFile.hpp"
#include "io/NewFile.hpp"
#include "io/OpenDocument.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Merge.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

struct MergeOptions {
    std::string base;
    std::string ours;
    std::string theirs;
    std::optional<std::string> output;
    Permission permission;
    bool favourOurs = false;
    bool favourTheirs = false;

    kit::Favour favour() const {
        return favourOurs ? kit::Favour::Ours : favourTheirs ? kit::Favour::Theirs : kit::Favour::None;
    }
};

/// None for an empty file, which git gives where there is no ancestor.
std::optional<kit::Document> openBase(const std::string& file) {
    const HeldFile held(file);
    return held.bytes().empty() ? std::nullopt : std::make_optional<kit::Document>(held.bytes());
}

void merge(Console& console, const MergeOptions& options) {
    const std::optional<kit::Document> base = openBase(options.base);
    HeldFile ours(options.ours);
    const kit::MergeResult result = kit::merge(base ? &*base : nullptr, kit::Document(ours.bytes()),
                                               openDocument(Input(options.theirs)), GitLineMerger(), options.favour());
    for (const kit::MergeConflict& conflict : result.conflicts) {
        console.say("conflict in " + printable(conflict.what) + ": " + printable(conflict.words));
    }
    if (options.output) {
        putFile(console.out(), *options.output, result.flowbook, options.permission);
    } else {
        ours.replace(result.flowbook);
    }
    console.note(result.conflicts.empty() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

constexpr char kMergeDescription[] =
    "Takes into OURS what THEIRS changed since BASE: code by paragraph and line, and each property, "
    "picture and other part. Where both changed the same, the code has both between markers, all else is "
    "kept as in OURS and named on standard error. An empty file as BASE stands for none. Lines are merged "
    "by git(1). Ends with 0 when nothing is in conflict, with 1 when something is.";

constexpr char kMergeExamples[] = "flowbook merge base.tqx mine.tqx yours.tqx -o merged.tqx\n"
                                  "git config merge.flowbook.driver 'flowbook merge %O %A %B'";

constexpr auto kMergeOptions =
    optionTable(place<&MergeOptions::base>("BASE", "What both began with"),
                place<&MergeOptions::ours>("OURS", "One version; replaced by the result unless there is -o"),
                place<&MergeOptions::theirs>("THEIRS", "The other version"),
                flag<&MergeOptions::favourOurs>("--ours", '\0', "Settle conflicts as OURS has it").excludes("--theirs"),
                flag<&MergeOptions::favourTheirs>("--theirs", '\0', "Settle conflicts as THEIRS has it"),
                kOutput<&MergeOptions::output>, kPermission<&MergeOptions::permission>);

void mergeInto(Console& console, MergeOptions& options) { merge(console, options); }

}  // namespace

const Command kMerge = makeCommand<MergeOptions, kMergeOptions, mergeInto>(
    {"merge", "Bring together what two changed in a flowbook", kMergeDescription, kMergeExamples});

}  // namespace flowbook::tool
