#include "opc/Exception.hpp"

namespace opc {

Exception::Exception(ErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

Exception::~Exception() = default;

}  // namespace opc
