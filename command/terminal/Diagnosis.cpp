// Turns what was thrown into an exit code and words for a user. It is called in a handler, so that all failures take
// one way, whether they come from the library, the kit or the command.
#include "terminal/Diagnosis.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Failure.hpp"
#include "terminal/Failure.hpp"

#include <new>

namespace flowbook::tool {

namespace {

Diagnosis ofKind(FlowbookErrorKind kind, const std::string& message) { return {exitCodeOf(kind), kind, "", message}; }

Diagnosis about(std::string_view part, Diagnosis diagnosis) {
    diagnosis.part = part;
    return diagnosis;
}

template <class T>
bool isA(const FlowbookExceptionBase& failure) {
    return dynamic_cast<const T*>(&failure) != nullptr;
}

/// The library's words are for programmers where a user would ask otherwise.
Diagnosis diagnosisOf(const FlowbookExceptionBase& failure) {
    const FlowbookErrorKind kind = failure.kind();
    if (isA<FlowbookEncrypted>(failure)) {
        return ofKind(kind, "the code is encrypted");
    }
    if (isA<FlowbookNotEncrypted>(failure)) {
        return ofKind(kind, "the code is not encrypted");
    }
    if (isA<FlowbookInvalidFileName>(failure)) {
        return {ExitCode::Usage, kind, fl::i18n::to_string(failure.getFileName()),
                "the name of a flowbook ends in .tqx or .tqapp"};
    }
    if (isA<FlowbookNotFound>(failure)) {
        return ofKind(kind, kind == FlowbookErrorKind::LimitExceeded
                                ? "its code is a document beyond the limits on what is parsed"
                                : "there is no code in it, or none that can be read");
    }
    return ofKind(kind,
                  isA<FlowbookFileReaderPackageNotFound>(failure) ? "there is no such file" : kit::wordsOf(failure));
}

}  // namespace

Diagnosis diagnose() {
    try {
        throw;
    } catch (const Failure& failure) {
        return {failure.code(), failure.kind(), failure.file(), failure.what(), failure.part()};
    } catch (const FlowbookExceptionBase& failure) {
        return about(partOf(failure), diagnosisOf(failure));
    } catch (const std::bad_alloc&) {
        return ofKind(FlowbookErrorKind::LimitExceeded, "out of memory");
    } catch (const std::exception& failure) {
        return about(partOf(failure), ofKind(flowbook::kindOf(failure), failure.what()));
    }
}

}  // namespace flowbook::tool
