#include "opc/OutputStream.hpp"

namespace opc {

OutputStream::~OutputStream() = default;

}  // namespace opc
