#include "terminal/Diagnosis.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/core/except/ErrorInfoContainer.hpp"
#include "foundation/core/except/IException.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <new>

namespace flowbook::tool {

using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

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

std::string attachedKind(const FlowbookExceptionBase& failure) {
    const auto* framework = dynamic_cast<const foundation::core::except::IException*>(&failure);
    const auto info = framework == nullptr ? nullptr : framework->errorInfo();
    const auto found =
        info == nullptr ? std::map<std::string, std::string>::const_iterator() : info->values.find("kind");
    // A file that is missing is a class of its own; here a part is, which is damage.
    const bool isDamaged = info == nullptr || found == info->values.end() || found->second == "not-found";
    return isDamaged ? kindOf(ExitCode::Damaged) : found->second;
}

std::string kindOf(const opc::Exception& failure) {
    static constexpr const char* kKinds[] = {"not-found", "input-output", "damaged", "limit",
                                             "conflict",  "not-durable",  "misuse"};
    // A part that is missing is damage, a file that is missing is none.
    const bool isPart = failure.kind() == opc::ErrorKind::NotFound &&
                        dynamic_cast<const opc::model::PackageNotFound*>(&failure) == nullptr;
    return isPart ? "damaged" : kKinds[static_cast<int>(failure.kind())];
}

std::string kindOf(const StorageError& failure) {
    switch (failure.kind()) {
    case StorageErrorKind::NotFound:
        return "not-found";
    case StorageErrorKind::Conflict:
        return "conflict";
    case StorageErrorKind::NotDurable:
        return "not-durable";
    default:
        return "input-output";
    }
}

/// The library's message less the words for programmers that it begins with.
std::string inWords(const std::string& message) {
    constexpr std::string_view kPrefixEnd = " file : ";
    const std::size_t end = message.rfind("Internal Exception", 0) == 0 ? message.find(kPrefixEnd) : std::string::npos;
    return end == std::string::npos ? message : message.substr(end + kPrefixEnd.size());
}

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
        const bool isTooLarge = attachedKind(failure) == "limit";
        return ofKind(attachedKind(failure), isTooLarge ? "its code is a document beyond the limits on what is parsed"
                                                        : "there is no code in it, or none that can be read");
    }
    return isA<FlowbookFileReaderPackageNotFound>(failure) ? ofKind("not-found", "there is no such file")
                                                           : ofKind(attachedKind(failure), inWords(failure.what()));
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
        return ofKind(kindOf(failure), failure.what());
    } catch (const StorageError& failure) {
        return ofKind(kindOf(failure), failure.what());
    } catch (const fl::i18n::ConversionError& failure) {
        return ofKind("damaged", failure.what());
    } catch (const std::bad_alloc&) {
        return ofKind("limit", "out of memory");
    } catch (const std::exception& failure) {
        return ofKind("input-output", failure.what());
    }
}

}  // namespace flowbook::tool
