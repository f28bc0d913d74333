#include "opc/interfaces/IPhysicalPartInfo.hpp"

namespace opc::interfaces {

IPhysicalPartInfo::~IPhysicalPartInfo() = default;

}  // namespace opc::interfaces
