#pragma once

#include "opc/pxservices/CoreProperties.hpp"
#include "opc/pxservices/PropertyPart.hpp"

namespace opc::pxservices {

class PXPLATFORM_LOCAL CoreProperties::Impl {
public:
    detail::PropertyPart core{detail::coreSchema()};
    detail::PropertyPart extension{detail::extensionSchema()};
};

}  // namespace opc::pxservices
