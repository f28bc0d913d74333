#include "terminal/Diagnosis.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "kit/document/Failure.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <new>

namespace flowbook::tool {

using foundation::storage::vfs::StorageError;

namespace {

/// Of the words that the library attaches to its exceptions, those that do not stand for damage.
constexpr struct {
    const char* kind;
    ExitCode code;
} kCodes[] = {{"not-found", ExitCode::InputOutput},
              {"input-output", ExitCode::InputOutput},
              {"conflict", ExitCode::InputOutput},
              {"not-durable", ExitCode::InputOutput},
              {"limit", ExitCode::LimitExceeded}};

ExitCode codeOf(const std::string& kind) {
    const auto* found =
        std::find_if(std::begin(kCodes), std::end(kCodes), [&](const auto& each) { return each.kind == kind; });
    return found == std::end(kCodes) ? ExitCode::Damaged : found->code;
}

Diagnosis ofKind(const std::string& kind, const std::string& message) { return {codeOf(kind), kind, "", message}; }

template <class T>
bool isA(const FlowbookExceptionBase& failure) {
    return dynamic_cast<const T*>(&failure) != nullptr;
}

Diagnosis diagnosisOf(const FlowbookExceptionBase& failure) {
    if (isA<FlowbookEncrypted>(failure)) {
        return {ExitCode::Encrypted, kindOf(ExitCode::Encrypted), "", "the code is encrypted"};
    }
    if (isA<FlowbookNotEncrypted>(failure)) {
        return {ExitCode::NegativeFinding, kindOf(ExitCode::NegativeFinding), "", "the code is not encrypted"};
    }
    if (isA<FlowbookInvalidFileName>(failure)) {
        return {ExitCode::Usage, kindOf(ExitCode::Usage), fl::i18n::to_string(failure.getFileName()),
                "the name of a flowbook ends in .tqx or .tqapp"};
    }
    if (isA<FlowbookNotFound>(failure)) {
        const bool isTooLarge = kit::kindOf(failure) == "limit";
        return ofKind(kit::kindOf(failure), isTooLarge ? "its code is a document beyond the limits on what is parsed"
                                                       : "there is no code in it, or none that can be read");
    }
    return isA<FlowbookFileReaderPackageNotFound>(failure) ? ofKind("not-found", "there is no such file")
                                                           : ofKind(kit::kindOf(failure), kit::inWords(failure.what()));
}

}  // namespace

Diagnosis diagnose() {
    try {
        throw;
    } catch (const Failure& failure) {
        return {failure.code(), failure.kind(), failure.file(), failure.what()};
    } catch (const FlowbookExceptionBase& failure) {
        return diagnosisOf(failure);
    } catch (const opc::Exception& failure) {
        return ofKind(kit::kindOf(failure), failure.what());
    } catch (const StorageError& failure) {
        return ofKind(kit::kindOf(failure), failure.what());
    } catch (const fl::i18n::ConversionError& failure) {
        return ofKind("damaged", failure.what());
    } catch (const std::bad_alloc&) {
        return ofKind("limit", "out of memory");
    } catch (const std::exception& failure) {
        return ofKind("input-output", failure.what());
    }
}

}  // namespace flowbook::tool
