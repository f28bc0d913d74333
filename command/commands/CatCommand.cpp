// Prints code. Plain code is printed in pieces while it is converted, so that a large one is not in memory twice.
#include "Commands.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/CodeText.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/SharedOptions.hpp"
#include "kit/markdown/MarkdownWriter.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

struct CatOptions {
    InputOptions inputs;
    std::string format = "text";
    bool binary = false;
};

/// On a terminal what it might obey, or not show, is escaped.
void print(Report& report, const std::string& text) {
    report.write(std::string_view(Output::isTerminal() ? printableLines(text) : text));
}

void printRecord(const Input& input, Report& report) {
    const std::string code = readCodeText(input);
    Json json = report.openRecord();
    json.field("form", nameOf(input.openReader().isPlainCode() ? kit::CodeForm::Plain : kit::CodeForm::Rich))
        .field("code", code);
    report.closeRecord(json);
}

void printMarkdown(const Input& input, Report& report) {
    const kit::Document document = openDocument(input);
    requireReadableCode(document);
    print(report, kit::writeMarkdown(document));
}

void cat(const Input& input, Report& report, const CatOptions& options) {
    if (options.format == "md") {
        printMarkdown(input, report);
        return;
    }
    if (options.inputs.json) {
        printRecord(input, report);
    } else if (options.format == "raw") {
        input.openReader().getEncryptedRichTARMICCode(report);
    } else if (options.format == "xml") {
        print(report, readCodeDocument(input));
    } else {
        readCodeText(input, [&](const std::string& piece) { print(report, piece); });
    }
}

void catAll(Console& console, CatOptions& options) {
    if (options.format == "raw") {
        Output::requireFitForBytes(options.binary);
    }
    forEachInput(console, options.inputs, [&](const Input& input, Report& report) { cat(input, report, options); });
}

constexpr char kCatDescription[] = "";

constexpr char kCatExamples[] = "flowbook cat analysis.tqx\n"
                                "flowbook cat --format=md analysis.tqx | pandoc -o analysis.docx\n"
                                "flowbook cat --json folder | jq -r .form";

constexpr auto kCatOptions = optionTable(
    kInputs<&CatOptions::inputs>,
    option<&CatOptions::format>("--format", '\0', "text|md|xml|raw", "What to print")
        .defaultsTo("text")
        .excludes("--json")
        .explained(
            "text is the plain code as UTF-8, with a line feed at its end where there is none; md is code and prose as "
            "Markdown, with pictures as data URIs, of which 'flowbook import' makes a flowbook again; xml is the text "
            "of the document part as it is stored; raw is the stored bytes of encrypted code."),
    kJson<&CatOptions::inputs>, kBinary<&CatOptions::binary>);

}  // namespace

const Command kCat =
    makeCommand<CatOptions, kCatOptions, catAll>({"cat", "Print the code of flowbooks", kCatDescription, kCatExamples});

}  // namespace flowbook::tool
