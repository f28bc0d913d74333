#include "opc/model/PackageNotFound.hpp"

namespace opc::model {

PackageNotFound::PackageNotFound(const std::string& message) : Exception(ErrorKind::NotFound, message) {}

PackageNotFound::~PackageNotFound() = default;

}  // namespace opc::model
