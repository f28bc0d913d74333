#include "Commands.hpp"
#include "fl/i18n/Conversion.hpp"
#include "inputs/Attempt.hpp"
#include "inputs/PackageView.hpp"
#include "kit/document/PackageTree.hpp"
#include "terminal/Text.hpp"

#include <algorithm>
#include <boost/json.hpp>

namespace flowbook::tool {

using kit::PackageTree;
using Row = PackageTree::Row;
using Target = PackageTree::Target;

namespace {

constexpr char kFooter[] = "Shows each relationship as 'id type -> target'. A part that was shown before is not\n"
                           "entered again. Ends with 1 when a target is missing.\n\n"
                           "Example:\n"
                           "  flowbook parts analysis.tqx";

// Deeper rows are not indented further, so that the output stays in proportion to the file.
constexpr std::size_t kDeepestIndent = 32;

std::string toText(const std::u16string& text) { return fl::i18n::to_string(text); }

std::string lastSegment(const std::string& type) { return type.substr(type.find_last_of('/') + 1); }

std::string describe(const opc::model::Part& part) {
    return part.getName().ascii() + "  " + printable(toText(part.getContentType().toString()));
}

std::string describeTarget(const Row& row) {
    switch (row.kind) {
    case Target::Part:
        return describe(*row.part);
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

void printText(Output& out, const std::string& file, const PackageTree& tree) {
    out.line(printable(file));
    for (const Row& row : tree.rows()) {
        out.line(describe(row));
    }
    for (const opc::model::Part& part : tree.unreached()) {
        out.line("  not reached: " + describe(part));
    }
}

boost::json::object toJson(const opc::model::Part& part) {
    return {{"part", part.getName().ascii()}, {"contentType", toText(part.getContentType().toString())}};
}

boost::json::object toJson(const Row& row) {
    static constexpr const char* kKinds[] = {"part", "seen", "external", "missing"};
    boost::json::object object{{"depth", row.depth},
                               {"source", row.source},
                               {"id", toText(row.relationship.getID())},
                               {"type", toText(row.relationship.getType())},
                               {"target", toText(row.relationship.getTarget())},
                               {"kind", kKinds[static_cast<std::size_t>(row.kind)]}};
    if (row.part) {
        const boost::json::object part = toJson(*row.part);
        object.insert(part.begin(), part.end());
    }
    return object;
}

template <class List>
boost::json::array toJsonArray(const List& list) {
    boost::json::array array;
    for (const auto& each : list) {
        array.push_back(toJson(each));
    }
    return array;
}

void printJson(Output& out, const std::string& file, const PackageTree& tree) {
    out.line(boost::json::serialize(boost::json::object{{"schema", 1},
                                                        {"file", file},
                                                        {"relationships", toJsonArray(tree.rows())},
                                                        {"unreached", toJsonArray(tree.unreached())}}));
}

bool isDangling(const Row& row) { return row.kind == Target::Dangling; }

}  // namespace

void addPartsCommand(CommandLine& line, Console& console) {
    struct Options {
        std::vector<std::string> files;
        bool json = false;
    };
    Arguments command = line.add("parts", "Show how the parts of flowbooks refer to each other", kFooter);
    const auto options = std::make_shared<Options>();
    command.require("FILE", options->files, "Flowbooks");
    command.flag("--json", options->json, "One JSON object a line");
    command.run([options, &console] {
        attemptFiles(console, options->files, [&](const Input& input) {
            PackageView view(input);
            const PackageTree tree(view.package());
            (options->json ? printJson : printText)(console.out(), input.argument(), tree);
            const bool dangles = std::any_of(tree.rows().begin(), tree.rows().end(), isDangling);
            console.note(dangles ? ExitCode::NegativeFinding : ExitCode::Fine);
        });
    });
}

}  // namespace flowbook::tool
