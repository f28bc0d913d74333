#include "opc/interfaces/IPhysicalPackage.hpp"

namespace opc::interfaces {

IPhysicalPackage::~IPhysicalPackage() = default;

}  // namespace opc::interfaces
