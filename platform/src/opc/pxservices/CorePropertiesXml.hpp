#pragma once

#include "opc/pxservices/PropertySet.hpp"

#include <string>
#include <vector>

/// The two parts of the core properties as XML: the standard one (ECMA-376-2, 4th edition, clause 11), and the
/// extension for what its schema has no element for.
namespace opc::pxservices::detail {

using Bytes = std::vector<unsigned char>;

/// @param where  the file and the part, for messages.
/// @throws opc::Exception for what is malformed or breaks the rules M4.2 to M4.5, naming the line.
void readCoreXml(const Bytes& xml, const std::string& where, PropertySet& properties);
void readExtensionXml(const Bytes& xml, const std::string& where, PropertySet& properties);

/// @throws opc::Exception naming the property whose value cannot be written.
Bytes writeCoreXml(const PropertySet& properties);
Bytes writeExtensionXml(const PropertySet& properties);

}  // namespace opc::pxservices::detail
