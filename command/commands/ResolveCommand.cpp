#include "Commands.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/compare/MarkedCode.hpp"
#include "kit/compare/Settlement.hpp"
#include "kit/document/Change.hpp"
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

std::string deletionInWords(const OpenConflict& conflict) {
    return conflict.deleter == kit::Side::Ours ? "ours deleted it, theirs changed it"
                                               : "theirs deleted it, ours changed it";
}

std::string relationshipInWords(const OpenConflict& conflict) {
    return conflict.ours && conflict.theirs
               ? "ours leads to " + inQuotes(*conflict.ours) + ", theirs to " + inQuotes(*conflict.theirs)
               : deletionInWords(conflict);
}

/// The words by which a conflict is chosen.
std::string nameInWords(const OpenConflict& conflict) {
    const std::string name = printable(conflict.name);
    switch (conflict.kind) {
    case OpenConflict::Kind::Code:
        return "code";
    case OpenConflict::Kind::Property:
        return "property " + name;
    case OpenConflict::Kind::Outputs:
        return "outputs " + name;
    case OpenConflict::Kind::Relationship:
        return "relationship " + name;
    case OpenConflict::Kind::Entry:
        return "entry " + name;
    case OpenConflict::Kind::Deletion:
        return conflict.isCode ? "code" : (conflict.name[0] == '/' ? "part " : "entry ") + name;
    default:
        return "part " + name;
    }
}

std::string describe(const OpenConflict& conflict) {
    const std::string name = nameInWords(conflict) + ": ";
    switch (conflict.kind) {
    case OpenConflict::Kind::Property:
        return name + "ours " + valueInWords(conflict.ours) + ", theirs " + valueInWords(conflict.theirs);
    case OpenConflict::Kind::Relationship:
        return name + relationshipInWords(conflict);
    case OpenConflict::Kind::Deletion:
        return name + deletionInWords(conflict);
    case OpenConflict::Kind::Outputs:
        return "outputs " + printable(conflict.name) + ", which follow the code: theirs is " +
               printable(*conflict.theirs);
    default:
        return name +
               (conflict.theirs ? "theirs is " + printable(*conflict.theirs) : "both versions stand between markers");
    }
}

/// Whether words such as "property title" mean a conflict.
bool isMeant(const std::string& kind, const std::string& name, const OpenConflict& conflict) {
    const std::string own = nameInWords(conflict);
    const bool isPart = kind == "part" && !conflict.name.empty() && conflict.name[0] == '/' &&
                        conflict.kind != OpenConflict::Kind::Relationship;
    return own == kind + (kind == "code" ? "" : " " + printable(name)) ||
           // Outputs were made by one version of the code, so they are settled with it and not apart from it.
           (kind == "code" && conflict.kind == OpenConflict::Kind::Outputs) ||
           (kind == "entry" && conflict.kind == OpenConflict::Kind::Entry && name == conflict.theirs) ||
           (isPart && (name == conflict.name || name == conflict.theirs));
}

/// The conflicts that the words name; all when there are none. @throws Failure for words that name no conflict.
Conflicts chosen(const Conflicts& open, const std::vector<std::string>& words) {
    Conflicts result;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& kind = words[i];
        const bool hasName = kind == "property" || kind == "part" || kind == "relationship" || kind == "entry";
        // A name never counts as a kind, as each kind takes the word behind it: a property may be called "part".
        if ((!hasName && kind != "code") || (hasName && i + 1 == words.size())) {
            throw Failure(ExitCode::Usage, "what is to be settled is 'code', 'property NAME', 'part NAME', "
                                           "'relationship SOURCE#ID' or 'entry NAME'");
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

void settleMarkers(opc::model::Package& package, const kit::Document& document, kit::Side side) {
    Bytes settled = kit::settledCode(document.storedCode(), side);
    if (document.form() == kit::CodeForm::Rich) {
        kit::apply(kit::SetRichCode{std::move(settled)}, package);
        return;
    }
    std::string code;
    for (const std::string& paragraph : kit::codeParagraphs(settled)) {
        code += paragraph + "\n";
    }
    code.resize(code.empty() ? 0 : code.size() - 1);
    kit::apply(kit::SetPlainCode{fl::i18n::utf8_to_ustring(code), true}, package);
}

bool isOfCode(const OpenConflict& conflict) { return conflict.kind == OpenConflict::Kind::Code; }

/// Settles in one save. What only the side that was not chosen showed goes with the rest.
void settle(const Input& input, const kit::Document& document, const Conflicts& conflicts, kit::Side side) {
    const kit::Shown before = kit::shownBy(document);
    opc::zippackage::ZipPhysicalPackage container(input.name(), opc::FileSystemOpsSelector(input.storage()), true);
    kit::EntryChanges entries(container);
    opc::model::Package package(entries);
    package.open(opc::interfaces::OpenMode::Update);
    if (std::any_of(conflicts.begin(), conflicts.end(),
                    [](const OpenConflict& each) { return isOfCode(each) && !each.theirs; })) {
        settleMarkers(package, document, side);
        kit::removeUnmentioned(package, before);
    }
    for (const OpenConflict& conflict : conflicts) {
        kit::settle(package, entries, conflict, side);
    }
    if (std::any_of(conflicts.begin(), conflicts.end(), isOfCode)) {
        kit::settleWithCode(package, side);
    }
    kit::removeUnreached(package, before);
    kit::stamp(package);
    package.close();
}

void resolve(const Input& input, Report& report, const ResolveOptions& options) {
    const kit::Document document = openDocument(input);
    const Conflicts meant = chosen(kit::openConflicts(document), options.what);
    if (options.ours || options.theirs) {
        if (!meant.empty()) {
            settle(input, document, meant, options.theirs ? kit::Side::Theirs : kit::Side::Ours);
        }
        return;
    }
    for (const OpenConflict& conflict : meant) {
        report.line(describe(conflict));
        report.note(ExitCode::NegativeFinding);
    }
}

constexpr char kResolveDescription[] =
    "Settles what a merge has left open, with one side's version: code between markers, properties that both "
    "sides changed, parts that were added beside ours under a name with -theirs1, and what one side deleted and "
    "the other changed. What the merge left "
    "beside them is removed, and so are pictures, links and parts that only the other side showed. All is saved at "
    "once, or nothing. WHAT is 'code', 'property NAME', 'part NAME', 'relationship SOURCE#ID' or 'entry NAME', as "
    "the list of what is open has it, any number of them; without it everything is meant.\n\n"
    "Without --ours or --theirs nothing is changed: what is open is listed, and the command ends with 1 while "
    "something is.";

constexpr char kResolveExamples[] = "flowbook resolve merged.tqx\n"
                                    "flowbook resolve merged.tqx --theirs property title";

constexpr auto kResolveOptions =
    optionTable(place<&ResolveOptions::file>("FILE", "Flowbook that a merge left conflicts in"),
                place<&ResolveOptions::what>("WHAT...", "What to list or settle; everything without it"),
                flag<&ResolveOptions::ours>("--ours", '\0', "Settle as this side has it").excludes("--theirs"),
                flag<&ResolveOptions::theirs>("--theirs", '\0', "Settle as the other side has it"));

/// What is open is read, and settled, in one version of the file.
void resolveIn(Console& console, ResolveOptions& options) {
    const bool isChange = options.ours || options.theirs;
    forInput(
        console, options.file, [&](const Input& input, Report& report) { resolve(input, report, options); },
        isChange ? Input::Purpose::Update : Input::Purpose::Read);
}

}  // namespace

const Command kResolve = makeCommand<ResolveOptions, kResolveOptions, resolveIn>(
    {"resolve", "Settle what a merge left in conflict", kResolveDescription, kResolveExamples});

}  // namespace flowbook::tool
