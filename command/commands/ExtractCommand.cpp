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

namespace flowbook::tool {

using kit::isPicture;
using opc::model::Part;
using opc::model::PartName;

namespace {

struct ExtractOptions {
    std::string file;
    std::string folder;
    bool code = false;
    bool images = false;
    std::vector<std::string> parts;
    bool force = false;

    bool all() const { return !code && !images && parts.empty(); }
};

void extractPart(SafeFolder& folder, const Part& part, kit::ManifestWriter& manifest) {
    const Bytes stored = kit::contentOf(part);
    folder.write(kit::fileNameOf(part), isPicture(part) ? kit::pictureOf(stored, part.getName().ascii()) : stored);
    manifest.add(part, stored);
}

void extractStored(SafeFolder& folder, const opc::model::Package& package, const std::string& argument) {
    if (!PartName::isValid(argument)) {
        throw Failure(ExitCode::Usage, argument + " is no part name");
    }
    const PartName name(fromArgument(argument));
    if (!package.hasPart(name)) {
        throw Failure(ExitCode::NegativeFinding, "there is no part " + argument);
    }
    const Part part = package.getPart(name);
    folder.write(part.getName().ascii(), kit::contentOf(part));
}

/// With all parts goes the manifest, which would be wrong if one of them failed.
template <class Each>
void extractParts(const opc::model::Package& package, SafeFolder& folder, const ExtractOptions& options, Each each) {
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

void extract(const Input& input, Report& report, const ExtractOptions& options) {
    const FlowbookFileReader reader = input.openReader();
    const kit::Document document = openDocument(input);
    SafeFolder folder(options.folder, options.force);
    const auto each = [&](const auto& action) { report.attempt(&input, action); };
    if (options.code || options.all()) {
        each([&] { folder.write("code.txt", toBytes(readCodeText(reader))); });
    }
    extractParts(document.package(), folder, options, each);
    for (const std::string& name : options.parts) {
        each([&] { extractStored(folder, document.package(), name); });
    }
}

constexpr char kExtractDescription[] =
    "Without --code, --images and --part all is extracted. The code becomes code.txt, a part a file under "
    "its own name, at most 64 folders deep; nothing is written outside of the folder. Pictures that are "
    "data URIs are decoded, but for --part, which gives the stored bytes. With all goes flowbook.json, "
    "which 'flowbook pack' takes to make the flowbook again.";

constexpr char kExtractExamples[] = "flowbook extract analysis.tqx -d out\n"
                                    "flowbook extract analysis.tqx -d pictures --images";

constexpr auto kExtractOptions = optionTable(
    place<&ExtractOptions::file>("FILE", "Flowbook"), flag<&ExtractOptions::code>("--code", '\0', "The plain code"),
    flag<&ExtractOptions::images>("--images", '\0', "The pictures"),
    option<&ExtractOptions::parts>("--part", '\0', "NAME", "The part of this name, as it is stored; may be repeated"),
    kFolder<&ExtractOptions::folder>.required(), kForce<&ExtractOptions::force>);

void extractFrom(Console& console, ExtractOptions& options) {
    forInput(console, options.file, [&](const Input& input, Report& report) { extract(input, report, options); });
}

}  // namespace

const Command kExtract = makeCommand<ExtractOptions, kExtractOptions, extractFrom>(
    {"extract", "Unpack code, pictures and parts of a flowbook", kExtractDescription, kExtractExamples});

}  // namespace flowbook::tool
