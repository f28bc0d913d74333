#include "opc/model/XercesGuard.hpp"

#include "opc/xml/Dom.hpp"

namespace opc::model {

XercesGuard::XercesGuard() { dom(); }

}  // namespace opc::model
