#pragma once

#include "opc/xml/PackageXmlHandler.hpp"

#include <string>
#include <vector>

namespace opc::model::detail {

/// Parses the XML that belongs to the package itself. Only UTF-8 and UTF-16 are taken (M1.17), and no
/// document type declaration (M1.18), so no entity is ever defined and nothing outside is looked at.
/// @param where  the file and the part, for messages.
/// @throws opc::model::InvalidXMLDocument, opc::Exception for an XmlFault of the handler, std::bad_alloc, and
///         whatever else the handler throws.
void parsePackageXml(const std::vector<unsigned char>& bytes, const std::string& where, PackageXmlHandler& handler);

}  // namespace opc::model::detail
