#include "commands/PageOf.hpp"

#include "io/OpenDocument.hpp"
#include "terminal/Failure.hpp"

#include <optional>

namespace flowbook::tool {

kit::Page quietPageOf(const Input& input, kit::PageOptions options) {
    options.inWords = [&input](std::string message) { return input.inWords(std::move(message)); };
    std::optional<kit::Document> document;
    try {
        document.emplace(openDocument(input));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception&) {
        const Diagnosis diagnosis = diagnose();
        if (diagnosis.code == ExitCode::InputOutput) {
            throw;
        }
        return kit::makeFailurePage(options, input.inWords(diagnosis.message));
    }
    return makePage(*document, options);
}

kit::Page pageOf(const Input& input, Report& report, kit::PageOptions options) {
    kit::Page page = quietPageOf(input, std::move(options));
    for (const std::string& fault : page.faults) {
        report.attempt(&input, [&] { throw Failure(ExitCode::Damaged, fault); });
    }
    return page;
}

kit::Page pageOf(const Input& input, Report& report) {
    return pageOf(input, report, {input.argument() == "-" ? "standard input" : input.argument()});
}

}  // namespace flowbook::tool
