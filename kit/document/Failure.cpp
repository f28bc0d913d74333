#include "kit/document/Failure.hpp"

#include "foundation/core/except/ErrorInfoContainer.hpp"
#include "foundation/core/except/IException.hpp"
#include "opc/model/PackageNotFound.hpp"

#include <string_view>

namespace flowbook::kit {

using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

std::string kindOf(const FlowbookExceptionBase& failure) {
    if (dynamic_cast<const FlowbookFileReaderPackageNotFound*>(&failure) != nullptr) {
        return opc::nameOf(opc::ErrorKind::NotFound);
    }
    const auto* framework = dynamic_cast<const foundation::core::except::IException*>(&failure);
    const auto info = framework == nullptr ? nullptr : framework->errorInfo();
    const auto found =
        info == nullptr ? std::map<std::string, std::string>::const_iterator() : info->values.find("kind");
    // A file that is missing is a class of its own; here a part is, which is damage.
    const bool isDamaged = info == nullptr || found == info->values.end() || found->second == "not-found";
    return isDamaged ? opc::nameOf(opc::ErrorKind::Damaged) : found->second;
}

std::string kindOf(const opc::Exception& failure) {
    // A part that is missing is damage, a file that is missing is none.
    const bool isPart = failure.kind() == opc::ErrorKind::NotFound &&
                        dynamic_cast<const opc::model::PackageNotFound*>(&failure) == nullptr;
    return opc::nameOf(isPart ? opc::ErrorKind::Damaged : failure.kind());
}

std::string kindOf(const StorageError& failure) {
    switch (failure.kind()) {
    case StorageErrorKind::NotFound:
        return opc::nameOf(opc::ErrorKind::NotFound);
    case StorageErrorKind::Conflict:
        return opc::nameOf(opc::ErrorKind::Conflict);
    case StorageErrorKind::NotDurable:
        return opc::nameOf(opc::ErrorKind::NotDurable);
    default:
        return opc::nameOf(opc::ErrorKind::InputOutput);
    }
}

std::string inWords(const std::string& message) {
    constexpr std::string_view kPrefixEnd = " file : ";
    const std::size_t end = message.rfind("Internal Exception", 0) == 0 ? message.find(kPrefixEnd) : std::string::npos;
    return end == std::string::npos ? message : message.substr(end + kPrefixEnd.size());
}

}  // namespace flowbook::kit
