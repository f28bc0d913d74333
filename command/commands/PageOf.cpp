// The page of an input, also of one that is damaged: of such a file what repair would save is shown. A failure is
// reported as well, so that a script learns of it though there is a page.
#include "commands/PageOf.hpp"

#include "io/OpenDocument.hpp"
#include "io/Program.hpp"
#include "io/TemporaryFolder.hpp"
#include "kit/document/Characters.hpp"
#include "terminal/Failure.hpp"

#include <optional>

namespace flowbook::tool {

namespace {

/// Why the code cannot be read as it is stored; nothing when it can, or is encrypted.
std::optional<Diagnosis> whyCodeIsLost(const kit::Document& document) {
    try {
        requireCode(document);
        return std::nullopt;
    } catch (const opc::Exception&) {
        return diagnose();
    }
}

/// The page of what is left of a file, or else one that says why there is nothing to show.
kit::Page damagedPageOf(const Input& input, const Diagnosis& diagnosis, const kit::PageOptions& options) {
    const bool isOfLimit = diagnosis.code == ExitCode::LimitExceeded;
    const auto saved =
        isOfLimit ? std::nullopt : kit::makeSalvagedPage(input.readAll(), input.name(), diagnosis.message, options);
    return saved ? *saved : kit::makeFailurePage(options, {input.inWords(diagnosis.message), isOfLimit});
}

}  // namespace

void requireCode(const kit::Document& document) {
    if (document.form() != kit::CodeForm::Encrypted) {
        document.storedCode();
    }
}

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
        // A file that is not there, or may not be read, has nothing to show.
        if (diagnosis.code == ExitCode::InputOutput) {
            throw;
        }
        return damagedPageOf(input, diagnosis, options);
    }
    kit::Page page = makePage(*document, options);
    const std::optional<Diagnosis> loss = page.faults.empty() ? std::nullopt : whyCodeIsLost(*document);
    // Only where the code itself is lost does the page show what repair can save; other damage is shown in its place.
    return loss && loss->code == ExitCode::Damaged ? damagedPageOf(input, *loss, options) : page;
}

kit::Page pageOf(const Input& input, Report& report, kit::PageOptions options) {
    kit::Page page = quietPageOf(input, std::move(options));
    for (const kit::PageFault& fault : page.faults) {
        const ExitCode code = fault.isOfLimit ? ExitCode::LimitExceeded : ExitCode::Damaged;
        // The report names the file, as the words on the page do.
        const std::string start = input.argument() + ": ";
        const std::string words = fault.words.substr(kit::startsWith(fault.words, start) ? start.size() : 0);
        report.attempt(&input, [&] { throw Failure(code, words); });
    }
    return page;
}

kit::Page pageOf(const Input& input, Report& report) {
    return pageOf(input, report, {input.argument() == "-" ? "standard input" : input.argument()});
}

void showInBrowser(std::string_view html) {
    TemporaryFolder folder;
    const std::string file = folder.put("page.html", html);
    // The browser may read the page after this command has ended.
    folder.keep();
    try {
        if (const int code = runProgram({"xdg-open", file}); code != 0) {
            throw Failure(ExitCode::InputOutput, "xdg-open ended with " + std::to_string(code));
        }
    } catch (const Failure& failure) {
        throw Failure(ExitCode::InputOutput, std::string(failure.what()) + "; the page is " + file);
    }
}

}  // namespace flowbook::tool
