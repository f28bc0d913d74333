#pragma once

#include "opc/model/Package.hpp"

#include <vector>

namespace flowbook::kit {

/// The part that holds the code, of the content type of rich code; made where there is none.
/// @param package  open for writing. @throws opc::Exception.
opc::model::Part richCodePart(opc::model::Package& package);

/// As above, of another content type, which says the form of the code.
opc::model::Part codePartOfType(opc::model::Package& package, const opc::model::ContentType& type);

/// The part with another content type and its own relationships; its content is kept only if that type is the same.
/// @throws opc::Exception.
opc::model::Part withContentType(opc::model::Package& package, const opc::model::Part& old,
                                 const opc::model::ContentType& type);

/// Gives a part relationships that another had, under their ids. @throws opc::Exception.
void takeOver(const std::vector<opc::model::Relationship>& relationships, opc::model::Part& part);

}  // namespace flowbook::kit
