#include "Commands.hpp"
#include "commands/GitLineMerger.hpp"
#include "io/ForEachInput.hpp"
#include "io/HeldFile.hpp"
#include "io/NewFile.hpp"
#include "io/OpenDocument.hpp"
#include "kit/compare/Merge.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

constexpr char kMergeFooter[] =
    "Takes into OURS what THEIRS changed since BASE: code by paragraph and line, and each property,\n"
    "picture and other part. Where both changed the same, the code has both between markers, all else is\n"
    "kept as in OURS and named on standard error. An empty file as BASE stands for none.\n"
    "Ends with 0 when nothing is in conflict, with 1 when something is.\n\n"
    "Example:\n"
    "  flowbook merge base.tqx mine.tqx yours.tqx -o merged.tqx\n"
    "  git config merge.flowbook.driver 'flowbook merge %O %A %B'";

struct MergeOptions {
    std::string base;
    std::string ours;
    std::string theirs;
    std::optional<std::string> output;
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
        putFile(console.out(), *options.output, result.flowbook, true);
    } else {
        ours.replace(result.flowbook);
    }
    console.note(result.conflicts.empty() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

}  // namespace

void addMergeCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("merge", "Bring together what two changed in a flowbook", kMergeFooter);
    const auto options = std::make_shared<MergeOptions>();
    command.require("BASE", options->base, "What both began with");
    command.require("OURS", options->ours, "One version; replaced by the result unless there is -o");
    command.require("THEIRS", options->theirs, "The other version");
    command.allow("-o,--output", options->output, "Where the result goes; replaced if it is there");
    command.flag("--ours", options->favourOurs, "Settle conflicts as OURS has it");
    command.flag("--theirs", options->favourTheirs, "Settle conflicts as THEIRS has it");
    command.exclude("--ours", "--theirs");
    command.run([options, &console] { attempt(console, "", [&] { merge(console, *options); }); });
}

}  // namespace flowbook::tool
