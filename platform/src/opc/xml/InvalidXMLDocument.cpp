#include "opc/model/InvalidXMLDocument.hpp"

namespace opc::model {

InvalidXMLDocument::InvalidXMLDocument(const std::string& message) : InvalidXMLDocument(ErrorKind::Damaged, message) {}

InvalidXMLDocument::InvalidXMLDocument(ErrorKind kind, const std::string& message) : Exception(kind, message) {}

InvalidXMLDocument::~InvalidXMLDocument() = default;

}  // namespace opc::model
