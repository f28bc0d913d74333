#include "Commands.hpp"
#include "io/CodeText.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/SafeFolder.hpp"
#include "io/SharedOptions.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/package/Unpacked.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <memory>
#include <mutex>

namespace flowbook::tool {

using kit::isPicture;
using opc::model::Part;
using opc::model::PartName;

namespace {

struct ExtractOptions {
    InputOptions inputs;
    std::string folder;
    bool code = false;
    bool images = false;
    std::vector<std::string> parts;
    bool force = false;

    bool all() const { return !code && !images && parts.empty(); }
};

/// Where the files of one flowbook go: the folder, or, when several are extracted, one below it for each.
struct Destination {
    SafeFolder& folder;
    std::string prefix;

    void write(const std::string& name, const Bytes& content) const { folder.write(prefix + name, content); }
};

void extractPart(const Destination& folder, const Part& part, kit::ManifestWriter& manifest) {
    const Bytes stored = kit::contentOf(part);
    folder.write(kit::fileNameOf(part), isPicture(part) ? kit::pictureOf(stored, part.getName().ascii()) : stored);
    manifest.add(part, stored);
}

void extractStored(const Destination& folder, const opc::model::Package& package, const std::string& argument) {
    if (!PartName::isValid(argument)) {
        throw Failure(ExitCode::Usage, argument + " is no part name");
    }
    const PartName name(fromArgument(argument));
    if (!package.hasPart(name)) {
        throw Failure(ExitCode::NegativeFinding, "there is no part " + argument);
    }
    const Part part = package.getPart(name);
    folder.write(part.getName().ascii().substr(1), kit::contentOf(part));
}

/// With all parts goes the manifest, which would be wrong if one of them failed.
template <class Each>
void extractParts(const opc::model::Package& package, const Destination& folder, const ExtractOptions& options, Each each) {
    kit::ManifestWriter manifest;
    std::size_t left = 0;
    for (const Part& part : package.getParts()) {
        if (options.all() || (options.images && isPicture(part))) {
            ++left;
            each([&] {
                extractPart(folder, part, manifest);
                --left;
            });
        }
    }
    if (options.all() && left == 0) {
        each([&] { folder.write(kit::kManifestName, toBytes(manifest.finish(package))); });
    }
}

void extract(const kit::Document& document, const Destination& folder, const Input& input, Report& report,
             const ExtractOptions& options) {
    const FlowbookFileReader reader = input.openReader();
    const auto each = [&](const auto& action) { report.attempt(&input, action); };
    each([&] {
        // Of encrypted code the stored bytes are all that there is.
        if (options.code || (options.all() && document.form() != kit::CodeForm::Encrypted)) {
            folder.write("code.txt", toBytes(readCodeText(reader)));
        }
    });
    extractParts(document.package(), folder, options, each);
    for (const std::string& name : options.parts) {
        each([&] { extractStored(folder, document.package(), name); });
    }
}

constexpr char kExtractDescription[] =
    "Without --code, --images and --part all is extracted. The code becomes code.txt, a part a file under "
    "its own name, at most 64 folders deep; nothing is written outside of the folder. Pictures that are "
    "data URIs are decoded, but for --part, which gives the stored bytes. With all goes flowbook.json, "
    "which 'flowbook pack' takes to make the flowbook again. When several flowbooks are extracted, each goes "
    "into a folder of its own name below FOLDER. Encrypted code is not decrypted: only its part is extracted.";

constexpr char kExtractExamples[] = "flowbook extract analysis.tqx -d out\n"
                                    "flowbook extract folder -d pictures --images";

constexpr auto kExtractOptions = optionTable(
    kInputs<&ExtractOptions::inputs>, flag<&ExtractOptions::code>("--code", '\0', "The plain code"),
    flag<&ExtractOptions::images>("--images", '\0', "The pictures"),
    option<&ExtractOptions::parts>("--part", '\0', "NAME", "The part of this name, as it is stored; may be repeated"),
    kFolder<&ExtractOptions::folder>.required(), kForce<&ExtractOptions::force>);

void extractFrom(Console& console, ExtractOptions& options) {
    const std::vector<InputName> names = options.inputs.names();
    const bool isOne =
        names.size() == 1 && !options.inputs.files.empty() && names.front().path == options.inputs.files.front();
    std::unique_ptr<SafeFolder> folder;
    std::once_flag isMade;
    const auto work = [&](const Input& input, Report& report) {
        const kit::Document document = openDocument(input);
        std::call_once(isMade, [&] { folder = std::make_unique<SafeFolder>(options.folder, options.force); });
        extract(document, {*folder, isOne ? "" : input.nameInFolder() + "/"}, input, report, options);
    };
    forEachInput(console, options.inputs, names, work);
}

}  // namespace

const Command kExtract = makeCommand<ExtractOptions, kExtractOptions, extractFrom>(
    {"extract", "Unpack code, pictures and parts of a flowbook", kExtractDescription, kExtractExamples});

}  // namespace flowbook::tool
