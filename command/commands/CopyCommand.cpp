// Copies what a flowbook consists of, and nothing else: parts that no relationship leads to, and entries that are no
// parts, are left behind. That makes it a way to get rid of what does not belong in a flowbook that is passed on.
#include "Commands.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/OpenDocument.hpp"
#include "io/SafeFolder.hpp"
#include "io/SharedOptions.hpp"
#include "kit/document/RichCodePart.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <set>

namespace flowbook::tool {

using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::pxservices::CorePropertiesManager;

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

/// The parts that a flowbook consists of: what its relationships lead to, directly or by way of other parts. They keep
/// their names, and their relationships the ids that the parts' own XML refers to.
class PartCopy {
public:
    PartCopy(const Package& from, Package& to) : from_(from), to_(to) {}

    void operator()() {
        for (const std::u16string& type : FlowbookFilePackage::getPackageRelationshipTypes()) {
            for (const Relationship& relationship : from_.getRelationshipsByType(type)) {
                // Nothing refers to ids of the package's relationships, so the copy gives its own.
                to_.carryRelationship(type, relationship.getTarget(), relationship.getTargetMode(), u"");
                follow(relationship);
            }
        }
        // With a list of what is left to do, as the parts of a hostile file may form a chain of any depth.
        while (!pending_.empty()) {
            const Part part = pending_.back();
            pending_.pop_back();
            copy(part);
        }
    }

private:
    /// One that leads nowhere, or out of the package, is carried as it stands, and that is all.
    void follow(const Relationship& relationship) {
        const std::optional<std::string> target = kit::foldedTarget(relationship);
        const std::optional<PartName> name =
            target ? std::make_optional(PartName(relationship.getTargetURI())) : std::nullopt;
        if (name && from_.hasPart(*name) && known_.insert(*target).second) {
            pending_.push_back(from_.getPart(*name));
        }
    }

    void copy(const Part& part) {
        const Bytes content = kit::contentOf(part);
        const std::vector<Relationship> relationships = part.getRelationships(opc::model::ExcludeMode::None);
        const opc::model::StandardPartInfo info(opc::interfaces::CompressionType::Normal, 0);
        Part copied = to_.createPart(part.getName(), part.getContentType(), info);
        copied.getOutputStream()->write(content.data(), content.size());
        kit::takeOver(relationships, copied);
        for (const Relationship& relationship : relationships) {
            follow(relationship);
        }
    }

    const Package& from_;
    Package& to_;
    std::set<std::string> known_;  ///< the folded names of parts that are copied, or are going to be
    std::vector<Part> pending_;
};

/// The creation time of the original, where it has one, becomes that of the copy.
void copyCreatedTime(const FlowbookFileReader& reader, Package& to) {
    try {
        const boost::posix_time::ptime created = reader.getCreatedTime();
        CorePropertiesManager manager(to, CorePropertiesManager::DeterministicMode::Off);
        opc::pxservices::CoreProperties properties = manager.getCoreProperties();
        // The writer has no call for the time of creation, as it sets that itself.
        properties.setCreatedTime(created);
        manager.setCoreProperties(properties);
    } catch (const FlowbookPropertyNotFound&) {
        // The copy is what was created, then.
    }
}

Bytes copyOf(const Input& input, const std::u16string& name) {
    // The library's reader is opened as well, since a copy of what it refuses would be no flowbook.
    const FlowbookFileReader reader = input.openReader();
    const kit::Document document = openDocument(input);
    // The library's writer gives the copy its own release and times, as to any file that it makes.
    const Bytes empty = makeFlowbook(name, [&](FlowbookFileWriter& writer) {
        copyProperty(reader, &FlowbookFileReader::getTitle, writer, &FlowbookFileWriter::setTitle);
        copyProperty(reader, &FlowbookFileReader::getDescription, writer, &FlowbookFileWriter::setDescription);
        copyProperty(reader, &FlowbookFileReader::getVersion, writer, &FlowbookFileWriter::setVersion);
    });
    return changeFlowbook(empty, [&](Package& package) {
        PartCopy(document.package(), package)();
        copyCreatedTime(reader, package);
    });
}

void copyIntoFolder(Console& console, const CopyOptions& options) {
    SafeFolder folder(*options.folder, options.permission.force);
    forEachInput(console, options.inputs, namesForFolder(options.inputs), [&](const Input& input, Report&) {
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
