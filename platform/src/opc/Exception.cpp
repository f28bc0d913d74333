// The destructors of exceptions are defined here, so that their type information is in this library alone and a host
// can catch them by type.
#include "opc/Exception.hpp"

#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "opc/model/PartNotFound.hpp"

namespace opc {

Exception::Exception(ErrorKind kind, const std::string& message, std::string_view part)
    : std::runtime_error(message), kind_(kind) {
    setPart(part);
}

void Exception::setPart(std::string_view part) {
    part_ = part.empty() ? nullptr : std::make_shared<const std::string>(part);
}

Exception::~Exception() = default;

}  // namespace opc

namespace opc::model {

PackageNotFound::PackageNotFound(const std::string& message) : Exception(ErrorKind::NotFound, message) {}

PackageNotFound::~PackageNotFound() = default;

}  // namespace opc::model

namespace opc::model {

PartNotFound::PartNotFound(const std::string& message, std::string_view part)
    : Exception(ErrorKind::NotFound, message, part) {}

PartNotFound::~PartNotFound() = default;

}  // namespace opc::model

namespace opc::model {

InvalidXMLDocument::InvalidXMLDocument(const std::string& message) : InvalidXMLDocument(ErrorKind::Damaged, message) {}

InvalidXMLDocument::InvalidXMLDocument(ErrorKind kind, const std::string& message) : Exception(kind, message) {}

InvalidXMLDocument::~InvalidXMLDocument() = default;

}  // namespace opc::model
