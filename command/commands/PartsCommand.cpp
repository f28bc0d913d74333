#include "Commands.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/Records.hpp"
#include "io/SharedOptions.hpp"
#include "kit/document/PackageTree.hpp"
#include "terminal/Text.hpp"

#include <algorithm>

namespace flowbook::tool {

using kit::PackageTree;
using Row = PackageTree::Row;
using Target = PackageTree::Target;

namespace {

// Deeper rows are not indented further, so that the output stays in proportion to the file.
constexpr std::size_t kDeepestIndent = 32;

std::string toText(const std::u16string& text) { return fl::i18n::to_string(text); }

std::string lastSegment(const std::string& type) { return type.substr(type.find_last_of('/') + 1); }

std::string describe(const opc::model::Part& part) { return part.getName().ascii() + "  " + printable(typeOf(part)); }

std::string describeTarget(const Row& row) {
    switch (row.kind) {
    case Target::Part:
        return describe(*row.part);
    // A part may be reached in a circle or thousands of times; entering it once keeps the list finite.
    case Target::Seen:
        return row.part->getName().ascii() + "  (see above)";
    case Target::External:
        return printable(toText(row.relationship.getTarget())) + "  (external)";
    case Target::Dangling:
        break;
    }
    return printable(toText(row.relationship.getTarget())) + "  (missing)";
}

std::string describe(const Row& row) {
    const std::string label = toText(row.relationship.getID()) + " " + lastSegment(toText(row.relationship.getType()));
    return std::string(2 * std::min(row.depth + 1, kDeepestIndent), ' ') + printable(label) + " -> " +
           describeTarget(row);
}

void addRow(Json& json, const Row& row) {
    // In the order of PackageTree::Target.
    static constexpr const char* kKinds[] = {"part", "seen", "external", "missing"};
    json.openObject().count("depth", row.depth).field("source", row.source);
    json.field("id", toText(row.relationship.getID())).field("relationshipType", toText(row.relationship.getType()));
    json.field("target", toText(row.relationship.getTarget()));
    json.field("targetKind", kKinds[static_cast<std::size_t>(row.kind)]);
    if (row.part != nullptr) {
        json.field("part", row.part->getName().ascii());
    }
    json.closeObject();
}

/// The relationships of one file, shown as they are found.
class Listing {
public:
    Listing(const Input& input, Report& report)
        : input_(&input), report_(&report), document_(openDocument(input)), tree_(document_.package()) {}

    void printText() {
        report_->line(printable(input_->argument()));
        walk([this](const Row& row) { report_->line(describe(row)); });
        for (const opc::model::Part& part : tree_.unreached()) {
            report_->line("  not reached: " + describe(part));
        }
    }

    void printRecord() {
        Json json = report_->openRecord();
        json.key("relationships").openArray();
        walk([&json](const Row& row) { addRow(json, row); });
        json.closeArray();
        writeParts(json, document_.package().getParts());
        json.key("unreached").openArray();
        for (const opc::model::Part& part : tree_.unreached()) {
            json.text(part.getName().ascii());
        }
        json.closeArray();
        report_->closeRecord(json);
    }

private:
    void walk(const PackageTree::ShowRow& show) {
        tree_.walk(
            [&](const Row& row) {
                report_->note(row.kind == Target::Dangling ? ExitCode::NegativeFinding : ExitCode::Fine);
                show(row);
            },
            [this] { report_->fail(input_); });
    }

    const Input* input_;
    Report* report_;
    kit::Document document_;
    PackageTree tree_;
};

constexpr char kPartsDescription[] =
    "Shows each relationship as 'id type -> target'. A part that was shown before is not entered again; "
    "parts that nothing refers to come last. Ends with 1 when a target is missing.";

constexpr char kPartsExamples[] = "flowbook parts analysis.tqx";

struct PartsOptions {
    InputOptions inputs;
};

constexpr auto kPartsOptions = optionTable(kInputs<&PartsOptions::inputs>, kJson<&PartsOptions::inputs>);

void partsAll(Console& console, PartsOptions& options) {
    forEachInput(console, options.inputs, [&](const Input& input, Report& report) {
        Listing listing(input, report);
        options.inputs.json ? listing.printRecord() : listing.printText();
    });
}

}  // namespace

const Command kParts = makeCommand<PartsOptions, kPartsOptions, partsAll>(
    {"parts", "Show how the parts of flowbooks refer to each other", kPartsDescription, kPartsExamples,
     "relationships[] parts[] unreached[]"});

}  // namespace flowbook::tool
