#include "inputs/Diagnosis.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "inputs/PackageView.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "terminal/Failure.hpp"

#include <new>

namespace flowbook::tool {

namespace {

ExitCode codeOf(const opc::Exception& failure) {
    switch (failure.kind()) {
    case opc::ErrorKind::InputOutput:
    case opc::ErrorKind::Conflict:
    case opc::ErrorKind::NotDurable:
        return ExitCode::InputOutput;
    case opc::ErrorKind::LimitExceeded:
        return ExitCode::LimitExceeded;
    case opc::ErrorKind::NotFound:
        // A part that is missing is damage, a file that is missing is none.
        return dynamic_cast<const opc::model::PackageNotFound*>(&failure) != nullptr ? ExitCode::InputOutput
                                                                                     : ExitCode::Damaged;
    case opc::ErrorKind::Damaged:
    case opc::ErrorKind::Misuse:
        break;
    }
    return ExitCode::Damaged;
}

ExitCode codeOfOpening(const Input* input, ExitCode whenItOpens) {
    if (input == nullptr) {
        return whenItOpens;
    }
    try {
        using opc::pxservices::CorePropertiesManager;
        PackageView view(*input);
        CorePropertiesManager(view.package(), CorePropertiesManager::DeterministicMode::Off).getCoreProperties();
        return whenItOpens;
    } catch (const opc::Exception& failure) {
        return codeOf(failure);
    }
}

template <class T>
bool isA(const FlowbookExceptionBase& failure) {
    return dynamic_cast<const T*>(&failure) != nullptr;
}

ExitCode codeOf(const FlowbookExceptionBase& failure, const Input* input) {
    if (isA<FlowbookFileReaderGenericException>(failure)) {
        return codeOfOpening(input, ExitCode::Damaged);
    }
    if (isA<FlowbookFileWriterGenericException>(failure)) {
        return codeOfOpening(input, ExitCode::InputOutput);
    }
    if (isA<FlowbookEncrypted>(failure)) {
        return ExitCode::Encrypted;
    }
    if (isA<FlowbookNotEncrypted>(failure)) {
        return ExitCode::NegativeFinding;
    }
    if (isA<FlowbookInvalidFileName>(failure)) {
        return ExitCode::Usage;
    }
    return isA<FlowbookFileReaderPackageNotFound>(failure) ? ExitCode::InputOutput : ExitCode::Damaged;
}

/// The file that a failure is about, unless it is the one that is being worked on.
std::string otherFile(const FlowbookExceptionBase& failure, const Input* input) {
    const std::u16string name = failure.getFileName();
    return input != nullptr && input->name() == name ? "" : fl::i18n::to_string(name);
}

}  // namespace

Diagnosis diagnose(const Input* input) {
    try {
        throw;
    } catch (const Failure& failure) {
        return {failure.code(), failure.file(), failure.what()};
    } catch (const FlowbookExceptionBase& failure) {
        return {codeOf(failure, input), otherFile(failure, input), failure.what()};
    } catch (const opc::Exception& failure) {
        return {codeOf(failure), "", failure.what()};
    } catch (const fl::i18n::ConversionError& failure) {
        return {ExitCode::Damaged, "", failure.what()};
    } catch (const std::bad_alloc&) {
        return {ExitCode::LimitExceeded, "", "out of memory"};
    } catch (const std::exception& failure) {
        return {ExitCode::InputOutput, "", failure.what()};
    }
}

}  // namespace flowbook::tool
