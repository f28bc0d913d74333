#include "Commands.hpp"
#include "files/SafeFolder.hpp"
#include "inputs/Attempt.hpp"
#include "inputs/PackageView.hpp"
#include "kit/document/Pictures.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

using opc::model::Part;
using opc::model::PartName;

namespace {

constexpr char kFooter[] =
    "Without --code, --images and --part all is extracted. The code becomes code.txt, a part a file\n"
    "under its own name. Pictures that are stored as data URIs are decoded, but for --part, which gives\n"
    "the stored bytes. Files that are there are kept unless --force is given.\n\n"
    "Examples:\n"
    "  flowbook extract analysis.tqx -d out\n"
    "  flowbook extract analysis.tqx -d pictures --images";

struct ExtractOptions {
    std::string file;
    std::string folder;
    bool code = false;
    bool images = false;
    std::vector<std::string> parts;
    bool force = false;

    bool all() const { return !code && !images && parts.empty(); }
};

bool isImage(const Part& part) { return part.getContentType().getMediaType().rfind(u"image/", 0) == 0; }

/// Pictures are called by their part names; of SVG ones, whose extension is made of the MIME type, only
/// the usual extension is kept.
std::string fileNameOf(const Part& part) {
    const std::string name = part.getName().ascii();
    return isImage(part) && endsWith(name, ".svg+xml") ? name.substr(0, name.rfind('+')) : name;
}

void extractPart(SafeFolder& folder, const Part& part) {
    Bytes content = contentOf(part);
    if (isImage(part)) {
        content = kit::pictureOf(std::move(content), part.getName().ascii());
    }
    folder.write(fileNameOf(part), content);
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
    folder.write(part.getName().ascii(), contentOf(part));
}

void extract(Console& console, const Input& input, const ExtractOptions& options) {
    const FlowbookFileReader reader = input.openReader();
    PackageView view(input);
    SafeFolder folder(options.folder, options.force);
    const auto each = [&](const auto& action) { attempt(console, input.argument(), &input, action); };
    if (options.code || options.all()) {
        each([&] { folder.write("code.txt", toBytes(readCodeText(reader))); });
    }
    for (const Part& part : view.package().getParts()) {
        if (options.all() || (options.images && isImage(part))) {
            each([&] { extractPart(folder, part); });
        }
    }
    for (const std::string& name : options.parts) {
        each([&] { extractStored(folder, view.package(), name); });
    }
}

}  // namespace

void addExtractCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("extract", "Unpack code, pictures and parts of a flowbook", kFooter);
    const auto options = std::make_shared<ExtractOptions>();
    command.require("FILE", options->file, "Flowbook");
    command.require("-d,--directory", options->folder, "Folder to unpack into; made if there is none");
    command.flag("--code", options->code, "The plain code");
    command.flag("--images", options->images, "The pictures");
    command.allow("--part", options->parts, "The part of this name, as it is stored; may be repeated");
    command.flag("--force", options->force, "Replace files that are there");
    command.run([options, &console] {
        attemptFile(console, options->file, [&](const Input& input) { extract(console, input, *options); });
    });
}

}  // namespace flowbook::tool
