#include "Commands.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SafeFolder.hpp"
#include "io/SharedOptions.hpp"
#include "opc/model/PartName.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>
#include <set>

namespace flowbook::tool {

namespace {

struct CopyOptions {
    InputOptions inputs;
    std::optional<std::string> output;
    std::optional<std::string> folder;
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

/// The creation time that the writer gave the copy becomes that of the original, where it has one.
Bytes withCreatedTime(Bytes flowbook, const FlowbookFileReader& reader) {
    const std::u16string name = u"copy://flowbook.tqx";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(name, std::move(flowbook));
    try {
        const auto created = reader.getCreatedTime();
        opc::zippackage::ZipPhysicalPackage container(
            name, opc::FileSystemOpsSelector(foundation::storage::vfs::StorageSystemReference(memory)), true);
        opc::model::Package package(container);
        package.open(opc::interfaces::OpenMode::Update);
        opc::pxservices::CorePropertiesManager manager(package,
                                                       opc::pxservices::CorePropertiesManager::DeterministicMode::Off);
        opc::pxservices::CoreProperties properties = manager.getCoreProperties();
        properties.setCreatedTime(created);
        manager.setCoreProperties(properties);
        package.close();
    } catch (const FlowbookPropertyNotFound&) {
        // The copy is what was created, then.
    }
    return memory->get(name);
}

Bytes copyOf(const Input& input, const std::u16string& name) {
    const FlowbookFileReader reader = input.openReader();
    return withCreatedTime(makeFlowbook(name, [&](FlowbookFileWriter& writer) { copyInto(writer, reader); }), reader);
}

void copyIntoFolder(Console& console, const CopyOptions& options) {
    SafeFolder folder(*options.folder, options.permission.force);
    forEachInput(console, options.inputs, [&](const Input& input, Report&) {
        const std::string& name = input.nameInFolder();
        folder.write(name, copyOf(input, nameOfFlowbook(name)));
    });
}

void copyTo(Console& console, CopyOptions& options) {
    if (options.folder) {
        copyIntoFolder(console, options);
        return;
    }
    std::vector<std::string>& files = options.inputs.files;
    if (!options.output && files.size() == 2 && options.inputs.filesFrom.empty()) {
        options.output = files.back();
        files.pop_back();
    }
    if (!options.output) {
        throw Failure(ExitCode::Usage, "copy takes a FILE and the name of its copy, or -d FOLDER for many");
    }
    forEachInput(console, options.inputs, onlyInput(options.inputs), [&](const Input& input, Report& report) {
        putFile(report, *options.output, copyOf(input, nameOfFlowbook(*options.output)), options.permission);
    });
}

constexpr char kCopyDescription[] =
    "The copy is a new file with the flowbook's own parts, title, description, version and time of creation; "
    "what else the package holds is left behind. 'copy FILE NEW' is 'copy FILE -o NEW'. With -d each flowbook "
    "gets a copy of its own name, and those of a folder keep their places below it.";

constexpr char kCopyExamples[] = "flowbook copy analysis.tqx clean.tqx\n"
                                 "flowbook copy folder -d clean";

constexpr auto kCopyOptions =
    optionTable(kInputs<&CopyOptions::inputs>, kOutput<&CopyOptions::output>.excludes("--directory"),
                kFolder<&CopyOptions::folder>, kPermission<&CopyOptions::permission>);

}  // namespace

const Command kCopy = makeCommand<CopyOptions, kCopyOptions, copyTo>(
    {"copy", "Write what the flowbook consists of into a new file", kCopyDescription, kCopyExamples});

}  // namespace flowbook::tool
