#include "Commands.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>
#include <set>

namespace flowbook::tool {

namespace {

constexpr char kCopyFooter[] =
    "The copy is a new file with the flowbook's own parts, title, description and version; what else\n"
    "the package holds is left behind.\n\n"
    "Example:\n"
    "  flowbook copy analysis.tqx clean.tqx";

using Setter = void (FlowbookFileWriter::*)(const std::u16string&);
using Getter = std::u16string (FlowbookFileReader::*)() const;

void copyProperty(const FlowbookFileReader& from, Getter get, FlowbookFileWriter& to, Setter set) {
    try {
        (to.*set)((from.*get)());
    } catch (const FlowbookPropertyNotFound&) {
        // Absent there, absent here.
    }
}

/// A snapshot as the writer takes it: each part once, and internal relationships, which keep their ids,
/// before external ones, which get new ids.
FlowbookFilePackage writable(const FlowbookFilePackage& snapshot) {
    std::set<std::string> names;
    std::vector<FlowbookFilePackage::Part> parts;
    for (FlowbookFilePackage::Part& part : snapshot.getParts()) {
        if (names.insert(opc::model::PartName(part.partName).folded()).second) {
            std::stable_partition(part.relationships.begin(), part.relationships.end(),
                                  [](const auto& relationship) { return relationship.isInternal; });
            parts.push_back(std::move(part));
        }
    }
    std::vector<FlowbookFilePackage::Relationship> relationships = snapshot.getRelationships();
    return {parts, relationships};
}

void copyInto(FlowbookFileWriter& writer, const FlowbookFileReader& reader) {
    writer.write(writable(reader.read()));
    copyProperty(reader, &FlowbookFileReader::getTitle, writer, &FlowbookFileWriter::setTitle);
    copyProperty(reader, &FlowbookFileReader::getDescription, writer, &FlowbookFileWriter::setDescription);
    copyProperty(reader, &FlowbookFileReader::getVersion, writer, &FlowbookFileWriter::setVersion);
}

}  // namespace

void addCopyCommand(CommandLine& line, Console& console) {
    struct Options {
        std::string source;
        std::string target;
        bool force = false;
    };
    Arguments command = line.add("copy", "Write what the flowbook consists of into a new file", kCopyFooter);
    const auto options = std::make_shared<Options>();
    command.require("SOURCE", options->source, "Flowbook to copy");
    command.require("TARGET", options->target, "Flowbook to create");
    command.flag("--force", options->force, "Replace a file that is there, or write to a terminal");
    command.run([options, &console] {
        forInput(console, options->source, [&](const Input& input, Report& report) {
            const FlowbookFileReader reader = input.openReader();
            createFlowbook(report, options->target, options->force,
                           [&](FlowbookFileWriter& writer) { copyInto(writer, reader); });
        });
    });
}

}  // namespace flowbook::tool
