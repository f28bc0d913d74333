#include "Commands.hpp"
#include "commands/Change.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

using kit::OpenConflict;
using Conflicts = std::vector<OpenConflict>;

struct ResolveOptions {
    std::string file;
    std::vector<std::string> what;
    bool ours = false;
    bool theirs = false;
};

std::string valueInWords(const std::optional<std::string>& value) { return value ? inQuotes(*value) : "(removed)"; }

std::string describe(const OpenConflict& conflict) {
    switch (conflict.kind) {
    case OpenConflict::Kind::Code:
        return conflict.theirs ? "code: theirs is " + printable(*conflict.theirs)
                               : "code: both versions stand between markers";
    case OpenConflict::Kind::Property:
        return "property " + printable(conflict.name) + ": ours " + valueInWords(conflict.ours) + ", theirs " +
               valueInWords(conflict.theirs);
    case OpenConflict::Kind::Outputs:
        return "outputs " + printable(conflict.name) + ", which follow the code: theirs is " +
               printable(*conflict.theirs);
    case OpenConflict::Kind::Deletion:
        return "part " + printable(conflict.name) + ": " +
               (conflict.deleter == kit::Side::Ours ? "ours deleted it, theirs" : "theirs deleted it, ours") +
               " changed it";
    default:
        return "part " + printable(conflict.name) + ": theirs is " + printable(*conflict.theirs);
    }
}

/// Whether words such as "property title" mean a conflict.
bool isMeant(const std::string& kind, const std::string& name, const OpenConflict& conflict) {
    switch (conflict.kind) {
    case OpenConflict::Kind::Code:
        return kind == "code" ||
               (kind == "part" && conflict.theirs && (name == conflict.name || name == conflict.theirs));
    case OpenConflict::Kind::Property:
        return kind == "property" && name == conflict.name;
    case OpenConflict::Kind::Outputs:
        return kind == "code" || (kind == "part" && (name == conflict.name || name == conflict.theirs));
    default:
        return kind == "part" && (name == conflict.name || name == conflict.theirs);
    }
}

/// The conflicts that the words name; all when there are none. @throws Failure for words that name no conflict.
Conflicts chosen(const Conflicts& open, const std::vector<std::string>& words) {
    Conflicts result;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& kind = words[i];
        const bool hasName = kind == "property" || kind == "part";
        if ((!hasName && kind != "code") || (hasName && i + 1 == words.size())) {
            throw Failure(ExitCode::Usage, "what is to be settled is 'code', 'property NAME' or 'part NAME'");
        }
        const std::string name = hasName ? words[++i] : "";
        const std::size_t before = result.size();
        std::copy_if(open.begin(), open.end(), std::back_inserter(result),
                     [&](const OpenConflict& conflict) { return isMeant(kind, name, conflict); });
        if (result.size() == before) {
            const std::string what = hasName ? std::string(kind).append(1, ' ').append(name) : kind;
            throw Failure(ExitCode::NegativeFinding, "there is no conflict of " + printable(what));
        }
    }
    return words.empty() ? open : result;
}

void settleCode(const Input& input, kit::Side side) {
    const kit::Document document = openDocument(input);
    Change change;
    change.keepsOutputs = true;
    Bytes settled = kit::settledCode(document.storedCode(), side);
    if (document.form() == kit::CodeForm::Rich) {
        change.rich = std::move(settled);
    } else {
        std::string code;
        for (const std::string& paragraph : kit::codeParagraphs(settled)) {
            code += paragraph + "\n";
        }
        change.code = fl::i18n::utf8_to_ustring(code.substr(0, code.empty() ? 0 : code.size() - 1));
    }
    apply(change, input);
}

void settleOthers(const Input& input, const Conflicts& conflicts, kit::Side side, const kit::Shown& before) {
    opc::zippackage::ZipPhysicalPackage container(input.name(), opc::FileSystemOpsSelector(input.storage()), true);
    opc::model::Package package(container);
    package.open(opc::interfaces::OpenMode::Update);
    kit::removeUnmentioned(package, before);
    for (const OpenConflict& conflict : conflicts) {
        kit::settle(package, conflict, side);
    }
    kit::removeUnreached(package, before);
    package.close();
}

bool isBetweenMarkers(const OpenConflict& conflict) {
    return conflict.kind == OpenConflict::Kind::Code && !conflict.theirs;
}

/// Code and the rest are saved one after the other, each by a file opened anew, as a save ends with another file. What
/// only the side that was not chosen showed goes with the rest.
void settle(const ResolveOptions& options, const Conflicts& conflicts, const kit::Shown& before) {
    const kit::Side side = options.theirs ? kit::Side::Theirs : kit::Side::Ours;
    if (std::any_of(conflicts.begin(), conflicts.end(), isBetweenMarkers)) {
        settleCode(Input(options.file, Input::Purpose::Update), side);
    }
    Conflicts others;
    std::remove_copy_if(conflicts.begin(), conflicts.end(), std::back_inserter(others), isBetweenMarkers);
    if (!conflicts.empty()) {
        settleOthers(Input(options.file, Input::Purpose::Update), others, side, before);
    }
}

void resolve(const Input& input, Report& report, const ResolveOptions& options) {
    const kit::Document document = openDocument(input);
    const Conflicts open = kit::openConflicts(document);
    const Conflicts meant = chosen(open, options.what);
    if (options.ours || options.theirs) {
        settle(options, meant, kit::shownBy(document));
        return;
    }
    for (const OpenConflict& conflict : meant) {
        report.line(describe(conflict));
        report.note(ExitCode::NegativeFinding);
    }
}

constexpr char kResolveDescription[] =
    "Settles what a merge has left open, with one side's version: code between markers, properties that both "
    "sides changed, and parts that were added beside ours under a name with -theirs1. What the merge left "
    "beside them is removed, and so are pictures, links and parts that only the other side showed. WHAT is 'code', "
    "'property NAME' or 'part NAME', any number of them; without it "
    "everything is meant.\n\n"
    "Without --ours or --theirs nothing is changed: what is open is listed, and the command ends with 1 while "
    "something is.";

constexpr char kResolveExamples[] = "flowbook resolve merged.tqx\n"
                                    "flowbook resolve merged.tqx --theirs property title";

constexpr auto kResolveOptions =
    optionTable(place<&ResolveOptions::file>("FILE", "Flowbook that a merge left conflicts in"),
                place<&ResolveOptions::what>("WHAT...", "What to list or settle; everything without it"),
                flag<&ResolveOptions::ours>("--ours", '\0', "Settle as this side has it").excludes("--theirs"),
                flag<&ResolveOptions::theirs>("--theirs", '\0', "Settle as the other side has it"));

void resolveIn(Console& console, ResolveOptions& options) {
    forInput(console, options.file, [&](const Input& input, Report& report) { resolve(input, report, options); });
}

}  // namespace

const Command kResolve = makeCommand<ResolveOptions, kResolveOptions, resolveIn>(
    {"resolve", "Settle what a merge left in conflict", kResolveDescription, kResolveExamples});

}  // namespace flowbook::tool
