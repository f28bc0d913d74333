#pragma once

#include "opc/pxservices/CoreProperties.hpp"
#include "opc/pxservices/PropertySet.hpp"

namespace opc::pxservices {

class PXPLATFORM_LOCAL CoreProperties::Impl : public detail::PropertySet {};

}  // namespace opc::pxservices
