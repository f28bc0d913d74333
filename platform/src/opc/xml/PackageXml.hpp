#pragma once

#include "fl/Bytes.hpp"
#include "strictxml/Reader.hpp"

#include <string>

namespace opc::model::detail {

using XmlName = strictxml::Name;
using XmlAttribute = strictxml::Attribute;
using XmlRange = strictxml::Range;
using XmlElement = strictxml::Element;
using PackageXmlHandler = strictxml::Handler;

/// What a handler throws for XML that breaks the rules of its part. It becomes an opc::Exception of kind Damaged that
/// names the file, the part and the place.
using XmlFault = strictxml::Fault;

/// Parses the XML that belongs to the package itself. It accepts UTF-8 and UTF-16 only (M1.17), and no document type
/// declaration (M1.18), so no entity is ever defined and nothing outside is looked at.
/// @param where  the file and the part, for messages.
/// @throws opc::model::InvalidXMLDocument, opc::Exception for an XmlFault of the handler, std::bad_alloc, and
///         anything else that the handler throws.
void parsePackageXml(const fl::Bytes& bytes, const std::string& where, PackageXmlHandler& handler);

}  // namespace opc::model::detail
