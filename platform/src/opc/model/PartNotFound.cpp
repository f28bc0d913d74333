#include "opc/model/PartNotFound.hpp"

namespace opc::model {

PartNotFound::PartNotFound(const std::string& message) : Exception(ErrorKind::NotFound, message) {}

PartNotFound::~PartNotFound() = default;

}  // namespace opc::model
