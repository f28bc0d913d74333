#include "Commands.hpp"
#include "fl/i18n/Conversion.hpp"
#include "inputs/Attempt.hpp"

namespace flowbook::tool {

namespace {

constexpr char kFooter[] = "Formats:\n"
                           "  text  the plain code as UTF-8, with a line feed at its end where there is none\n"
                           "  xml   the text of the document part as it is stored\n"
                           "  raw   the stored bytes of encrypted code\n\n"
                           "Examples:\n"
                           "  flowbook cat analysis.tqx\n"
                           "  git config diff.flowbook.textconv 'flowbook cat'";

struct CatOptions {
    std::vector<std::string> files;
    std::string format = "text";
};

void cat(Output& out, const Input& input, const std::string& format) {
    const FlowbookFileReader reader = input.openReader();
    if (format == "text") {
        out.write(readCodeText(reader));
    } else if (format == "xml") {
        out.write(fl::i18n::to_string(reader.getRichTARMICCode()));
    } else {
        reader.getEncryptedRichTARMICCode(out);
    }
}

}  // namespace

void addCatCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("cat", "Print the code of flowbooks", kFooter);
    const auto options = std::make_shared<CatOptions>();
    command.require("FILE", options->files, "Flowbooks");
    command.allow("--format", options->format, {"text", "xml", "raw"}, "What to print (text)");
    command.run([options, &console] {
        attemptFiles(console, options->files, [&](const Input& input) { cat(console.out(), input, options->format); });
    });
}

}  // namespace flowbook::tool
