#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "kit/compare/Digest.hpp"

namespace flowbook::tool {

namespace {

constexpr char kDigestFooter[] =
    "SHA-256 over the content: names, types, bytes and relationships of the parts; not times, order and\n"
    "compression of the container, nor the time of the last modification. With --code it is that of what\n"
    "'flowbook cat' prints, or of the stored bytes where the code is encrypted. The form is sha256sum's.\n\n"
    "Example:\n"
    "  flowbook digest folder | sort | uniq -w64 -D";

struct DigestOptions {
    InputOptions inputs;
    bool code = false;
};

/// As sha256sum writes names: one with a line feed or a backslash is escaped, and marked as such.
std::string inLine(const std::string& digest, const std::string& file) {
    std::string name;
    for (const char c : file) {
        name += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : std::string(1, c);
    }
    return (name == file ? "" : "\\") + digest + "  " + name;
}

void tellDigest(const Input& input, Report& report, const DigestOptions& options) {
    const kit::Document document = openDocument(input);
    const std::string digest = options.code ? codeDigest(document) : contentDigest(document);
    if (!options.inputs.json) {
        report.line(inLine(digest, input.argument()));
        return;
    }
    Json json = report.openRecord();
    json.field("digest", digest);
    report.closeRecord(json);
}

}  // namespace

void addDigestCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("digest", "Tell flowbooks apart by their content", kDigestFooter);
    const auto options = std::make_shared<DigestOptions>();
    options->inputs.addTo(command);
    command.flag("--code", options->code, "Of the code alone");
    options->inputs.addJsonTo(command);
    command.run([options, &console] {
        forEachInput(console, options->inputs,
                     [&](const Input& input, Report& report) { tellDigest(input, report, *options); });
    });
}

}  // namespace flowbook::tool
