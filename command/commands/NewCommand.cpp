// Makes new flowbooks by the library's own calls, so that they are what any other program makes with it.
#include "Commands.hpp"
#include "commands/PropertyOptions.hpp"
#include "commands/Sources.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SharedOptions.hpp"
#include "kit/document/Pictures.hpp"
#include "opc/Exception.hpp"
#include "settings/standalone/SettingsRoot.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

using SnapshotPart = FlowbookFilePackage::Part;

namespace {

struct NewOptions {
    std::string file;
    std::optional<std::string> code;
    std::optional<std::string> rich;
    std::vector<std::string> images;
    PropertyOptions properties;
    Permission permission;
};

SnapshotPart richDocument(const std::string& source) {
    Bytes content = readRichCode(source);
    return FlowbookFilePackage::createDocumentPartWithContent(content);
}

/// A document part with the content type that it keeps when the writer gives it plain code.
SnapshotPart documentForPlainCode() {
    SnapshotPart document = FlowbookFilePackage::createEmptyDocumentPart();
    opc::model::ContentType type(document.contentType);
    type.addParameter(u"plaincode", u"true");
    document.contentType = type.toString();
    return document;
}

SnapshotPart documentOf(const NewOptions& options) {
    if (options.rich) {
        return richDocument(*options.rich);
    }
    return options.code ? documentForPlainCode() : FlowbookFilePackage::createEmptyDocumentPart();
}

FlowbookFilePackage withImages(SnapshotPart document, std::vector<std::string> images) {
    const FlowbookFilePackage package(document.content, images);
    std::vector<SnapshotPart> parts = package.getParts();
    std::vector<FlowbookFilePackage::Relationship> relationships = package.getRelationships();
    for (SnapshotPart& part : parts) {
        // The snapshot has made the document anew, and given it the type of rich code.
        if (part.partName == document.partName) {
            part.contentType = document.contentType;
        }
    }
    return {parts, relationships};
}

std::string pictureFrom(const std::string& file) {
    const Bytes picture = readSource(file);
    try {
        return kit::toDataUri(picture, file);
    } catch (const opc::Exception& failure) {
        throw Failure(ExitCode::Usage, file, failure.what());
    }
}

FlowbookFilePackage packageOf(const NewOptions& options) {
    std::vector<std::string> images;
    for (const std::string& file : options.images) {
        images.push_back(pictureFrom(file));
    }
    return withImages(documentOf(options), std::move(images));
}

void create(Console& console, const NewOptions& options) {
    createFlowbook(console.out(), options.file, options.permission, [&](FlowbookFileWriter& writer) {
        writer.write(packageOf(options));
        if (options.code) {
            writer.setTARMICCode(fromUtf8(readSource(*options.code), *options.code));
        }
        options.properties.applyTo(writer);
    });
}

constexpr char kNewDescription[] =
    "A file that is there is kept unless --force is given; then it is replaced at once, or not at all. "
    "Code is UTF-8; control characters in it become U+FFFD.";

constexpr char kNewExamples[] = "flowbook new analysis.tqx --code analysis.txt --title 'Running mean'\n"
                                "flowbook new report.tqx --rich report.xml --image plot.png --image map.svg";

constexpr auto kNewOptions =
    optionTable(place<&NewOptions::file>("FILE", "Flowbook to create; '-' is standard output"),
                option<&NewOptions::code>("--code", '\0', "SOURCE", "File with plain code").excludes("--rich"),
                option<&NewOptions::rich>("--rich", '\0', "SOURCE", "File with a rich code document"),
                option<&NewOptions::images>("--image", '\0', "SOURCE", "File with a picture; may be repeated"),
                kPropertyOptions<&NewOptions::properties>, kPermission<&NewOptions::permission>);

void createNew(Console& console, NewOptions& options) {
    if (const std::string why = settings::standalone::whySettingsCountAsNone(); !why.empty()) {
        console.say("warning: " + why);
    }
    attempt(console, options.file, [&] { create(console, options); });
}

}  // namespace

const Command kNew =
    makeCommand<NewOptions, kNewOptions, createNew>({"new", "Create a flowbook", kNewDescription, kNewExamples});

}  // namespace flowbook::tool
