#include "Commands.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SharedOptions.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>
#include <set>

namespace flowbook::tool {

namespace {

struct CopyOptions {
    std::string source;
    std::string target;
    Permission permission;
};

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

constexpr char kCopyDescription[] =
    "The copy is a new file with the flowbook's own parts, title, description and version; what else the "
    "package holds is left behind.";

constexpr char kCopyExamples[] = "flowbook copy analysis.tqx clean.tqx";

constexpr auto kCopyOptions =
    optionTable(place<&CopyOptions::source>("SOURCE", "Flowbook to copy"),
                place<&CopyOptions::target>("TARGET", "Flowbook to create; '-' is standard output"),
                kPermission<&CopyOptions::permission>);

void copyTo(Console& console, CopyOptions& options) {
    forInput(console, options.source, [&](const Input& input, Report& report) {
        const FlowbookFileReader reader = input.openReader();
        createFlowbook(report, options.target, options.permission,
                       [&](FlowbookFileWriter& writer) { copyInto(writer, reader); });
    });
}

}  // namespace

const Command kCopy = makeCommand<CopyOptions, kCopyOptions, copyTo>(
    {"copy", "Write what the flowbook consists of into a new file", kCopyDescription, kCopyExamples});

}  // namespace flowbook::tool
