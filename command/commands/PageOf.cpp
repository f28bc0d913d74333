#include "commands/PageOf.hpp"

#include "io/OpenDocument.hpp"
#include "terminal/Failure.hpp"

#include <optional>

namespace flowbook::tool {

namespace {

std::string fileOf(const Input& input) { return input.argument() == "-" ? "standard input" : input.argument(); }

}  // namespace

kit::Page pageOf(const Input& input, Report& report) {
    std::optional<kit::Document> document;
    std::string failure;
    report.attempt(&input, [&] {
        try {
            document.emplace(openDocument(input));
        } catch (const std::exception&) {
            failure = input.inWords(diagnose().message);
            throw;
        }
    });
    if (!document) {
        return kit::makeFailurePage({fileOf(input)}, failure);
    }
    kit::Page page = makePage(
        *document, {fileOf(input), [&input](std::string message) { return input.inWords(std::move(message)); }});
    for (const std::string& fault : page.faults) {
        report.attempt(&input, [&] { throw Failure(ExitCode::Damaged, fault); });
    }
    return page;
}

}  // namespace flowbook::tool
