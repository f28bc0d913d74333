#include "Commands.hpp"
#include "commands/PropertyOptions.hpp"
#include "commands/Sources.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SharedOptions.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/markdown/MarkdownReader.hpp"
#include "opc/Exception.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <cctype>
#include <unistd.h>

namespace flowbook::tool {

namespace {

struct ImportOptions {
    std::string file;
    std::string output;
    PropertyOptions properties;
    Permission permission;
};

/// The scheme of a URI (RFC 3986, 3.1) in lower case; empty for a path. One letter is a drive, as in "c:/plot.png".
std::string schemeOf(const std::string& destination) {
    std::string scheme;
    for (const char c : destination) {
        const auto unit = static_cast<unsigned char>(c);
        if (c == ':') {
            return scheme.size() > 1 ? scheme : "";
        }
        if (std::isalnum(unit) == 0 && c != '+' && c != '-' && c != '.') {
            return {};
        }
        scheme += static_cast<char>(std::tolower(unit));
    }
    return {};
}

/// A path beside the text; one that does not exist as it is written may be percent-encoded.
std::string pathOf(const std::string& destination, const std::string& folder) {
    const std::string start = destination.front() == '/' ? "" : folder;
    if (::access((start + destination).c_str(), F_OK) == 0) {
        return start + destination;
    }
    const std::string uri = "data:," + destination;
    return start + toText(kit::readDataUri({uri.begin(), uri.end()}, destination).content);
}

kit::MarkdownPicture pictureIn(const std::string& dataUri, const std::string& where) {
    kit::DataUri uri = kit::readDataUri({dataUri.begin(), dataUri.end()}, where);
    const std::size_t start = uri.header.find(':') + 1;
    return {uri.header.substr(start, uri.header.find_first_of(";,", start) - start), std::move(uri.content)};
}

/// Pictures are files beside the text, or data URIs; what lies in the web is not fetched.
std::optional<kit::MarkdownPicture> findPicture(const std::string& destination, const std::string& folder) {
    const std::string scheme = schemeOf(destination);
    if (destination.empty() || destination.rfind("//", 0) == 0 || (!scheme.empty() && scheme != "data")) {
        return std::nullopt;
    }
    try {
        if (scheme == "data") {
            return pictureIn(destination, "the picture");
        }
        const std::string path = pathOf(destination, folder);
        return pictureIn(kit::toDataUri(readSource(path), path), path);
    } catch (const opc::Exception& failure) {
        throw Failure(ExitCode::Usage, scheme == "data" ? "a picture" : destination, failure.what());
    }
}

void import(Console& console, const ImportOptions& options) {
    const std::string text = fl::i18n::to_string(fromUtf8(readSource(options.file), options.file));
    const std::string folder = options.file.substr(0, options.file.rfind('/') + 1);
    const Bytes empty = makeFlowbook(nameOfFlowbook(options.output), [&](FlowbookFileWriter& writer) {
        Bytes document = FlowbookFilePackage::createEmptyDocumentPart().content;
        writer.write(FlowbookFilePackage(document));
        options.properties.applyTo(writer);
    });
    const Bytes flowbook = changeFlowbook(empty, [&](opc::model::Package& package) {
        kit::readMarkdown(package, text,
                          [&](const std::string& destination) { return findPicture(destination, folder); });
    });
    putFile(console.out(), options.output, flowbook, options.permission);
}

constexpr char kImportDescription[] =
    "Headings, paragraphs, lists, quotes, tables, links and pictures of a text in Markdown (CommonMark) become prose, "
    "and its fenced and indented code becomes the code, in its places among the prose. Pictures are read from files, "
    "by their "
    "paths beside FILE, and from data URIs; one that lies in the web becomes a link, as nothing is fetched. HTML stays "
    "as text, but for <br> and the marks <b>, <i>, <u>, <s>, <sup> and <sub>; comments are left out. 'flowbook cat "
    "--format=md' is the way back. Other formats go through pandoc.";

constexpr char kImportExamples[] = "flowbook import notes.md -o notes.tqx --title 'Running mean'\n"
                                   "pandoc report.docx -t gfm | flowbook import - -o draft.tqx";

constexpr auto kImportOptions =
    optionTable(place<&ImportOptions::file>("FILE", "Text in Markdown, UTF-8; '-' is standard input"),
                kOutput<&ImportOptions::output>.required(), kPropertyOptions<&ImportOptions::properties>,
                kPermission<&ImportOptions::permission>);

void importFile(Console& console, ImportOptions& options) {
    attempt(console, options.file, [&] { import(console, options); });
}

}  // namespace

const Command kImport = makeCommand<ImportOptions, kImportOptions, importFile>(
    {"import", "Make a flowbook of a text in Markdown", kImportDescription, kImportExamples});

}  // namespace flowbook::tool
