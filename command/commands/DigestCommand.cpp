// Prints digests in the form of sha256sum, so that other tools for lists of digests can read it.
#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Digest.hpp"

namespace flowbook::tool {

namespace {

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

std::string digestOfAll(const kit::Document& document, const Input& input) {
    kit::ReadAhead read = readAhead(document, input, partsInOrder(document));
    return contentDigest(document, kit::Dates::Count, std::ref(read));
}

void printDigest(const Input& input, Report& report, const DigestOptions& options) {
    const kit::Document document = openDocument(input);
    const std::string digest = options.code ? codeDigest(document) : digestOfAll(document, input);
    if (!options.inputs.json) {
        report.line(inLine(digest, input.argument()));
        return;
    }
    Json json = report.openRecord();
    json.field("digest", digest);
    report.closeRecord(json);
}

constexpr char kDigestDescription[] =
    "SHA-256 over the content: names, types, bytes and relationships of the parts; not times, order and "
    "compression of the container, nor the time of the last modification. The form is that of "
    "sha256sum(1).";

constexpr char kDigestExamples[] = "flowbook digest folder | sort | uniq -w64 -D";

constexpr auto kDigestOptions = optionTable(
    kInputs<&DigestOptions::inputs>,
    flag<&DigestOptions::code>("--code", '\0', "That of the code alone")
        .explained("It is that of what 'flowbook cat' prints, or of the stored bytes where the code is encrypted."),
    kJson<&DigestOptions::inputs>);

void digestAll(Console& console, DigestOptions& options) {
    forEachInput(console, options.inputs,
                 [&](const Input& input, Report& report) { printDigest(input, report, options); });
}

}  // namespace

const Command kDigest = makeCommand<DigestOptions, kDigestOptions, digestAll>(
    {"digest", "Print digests of the content of flowbooks", kDigestDescription, kDigestExamples});

}  // namespace flowbook::tool
