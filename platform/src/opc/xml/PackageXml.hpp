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

/// Hands over a document of the plain kind, several times as fast as parsePackageXml(); attributes are left out, and
/// namespaces come with each element, also those that were bound before it. A document that is not plain, or at fault,
/// is left to the other one, which reads it from its start, or refuses it with the place.
/// @returns whether the handler has all of it.
bool takePlainXml(const fl::Bytes& bytes, PackageXmlHandler& handler);

}  // namespace opc::model::detail
