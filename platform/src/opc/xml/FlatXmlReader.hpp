#pragma once

#include "fl/Bytes.hpp"
#include "opc/xml/FlatXmlHandler.hpp"

#include <functional>
#include <string>

namespace opc::model::detail {

/// parsePackageXml() for a flat list, several times as fast where the document is plain: parsing content types and
/// relationships is much of what a small package costs.
/// @param where  asked for when something is wrong only.
/// @throws as parsePackageXml(), with the same messages.
void parseFlatXml(const fl::Bytes& bytes, const std::function<std::string()>& where, FlatXmlHandler& handler);

}  // namespace opc::model::detail
