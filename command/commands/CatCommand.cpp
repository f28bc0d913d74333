#include "Commands.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/CodeText.hpp"
#include "io/ForEachInput.hpp"
#include "kit/document/Document.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

constexpr char kCatFooter[] = "Formats:\n"
                              "  text  the plain code as UTF-8, with a line feed at its end where there is none\n"
                              "  xml   the text of the document part as it is stored\n"
                              "  raw   the stored bytes of encrypted code\n\n"
                              "Examples:\n"
                              "  flowbook cat analysis.tqx\n"
                              "  flowbook cat --json folder | jq -r .form";

struct CatOptions {
    InputOptions inputs;
    std::string format = "text";
    bool force = false;
};

/// On a terminal what it might obey, or not show, is escaped.
void print(Report& report, const std::string& text) {
    report.write(std::string_view(Output::isTerminal() ? printableLines(text) : text));
}

void printRecord(Report& report, const FlowbookFileReader& reader) {
    const std::string code = readCodeText(reader);
    Json json = report.openRecord();
    json.field("form", nameOf(reader.isPlainCode() ? kit::CodeForm::Plain : kit::CodeForm::Rich)).field("code", code);
    report.closeRecord(json);
}

void cat(const Input& input, Report& report, const CatOptions& options) {
    const FlowbookFileReader reader = input.openReader();
    if (options.inputs.json) {
        printRecord(report, reader);
    } else if (options.format == "raw") {
        reader.getEncryptedRichTARMICCode(report);
    } else if (options.format == "xml") {
        print(report, fl::i18n::to_string(reader.getRichTARMICCode()));
    } else {
        readCodeText(reader, [&](const std::string& piece) { print(report, piece); });
    }
}

void run(Console& console, const CatOptions& options) {
    if (options.format == "raw") {
        Output::requireFitForBytes(options.force);
    }
    forEachInput(console, options.inputs, [&](const Input& input, Report& report) { cat(input, report, options); });
}

}  // namespace

void addCatCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("cat", "Print the code of flowbooks", kCatFooter);
    const auto options = std::make_shared<CatOptions>();
    options->inputs.addTo(command);
    command.allow("--format", options->format, {"text", "xml", "raw"}, "What to print (text)");
    options->inputs.addJsonTo(command);
    command.exclude("--json", "--format");
    command.flag("--force", options->force, "Write bytes to a terminal, too");
    command.run([options, &console] { attempt(console, "", [&] { run(console, *options); }); });
}

}  // namespace flowbook::tool
