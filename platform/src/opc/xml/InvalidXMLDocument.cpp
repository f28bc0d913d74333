#include "opc/model/InvalidXMLDocument.hpp"

namespace opc::model {

InvalidXMLDocument::InvalidXMLDocument(const std::string& message) : Exception(ErrorKind::Damaged, message) {}

InvalidXMLDocument::~InvalidXMLDocument() = default;

}  // namespace opc::model
