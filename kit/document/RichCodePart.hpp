#pragma once

#include "opc/model/Package.hpp"

namespace flowbook::kit {

/// The part that holds the code, of the content type of rich code; made where there is none.
/// @param package  open for writing. @throws opc::Exception.
opc::model::Part richCodePart(opc::model::Package& package);

}  // namespace flowbook::kit
