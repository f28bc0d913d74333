#pragma once

#include "opc/pxservices/CoreProperties.hpp"
#include "opc/pxservices/PropertySet.hpp"

namespace opc::pxservices {

class CoreProperties::Impl : public detail::PropertySet {};

}  // namespace opc::pxservices
