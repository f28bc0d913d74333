#pragma once

#include "fl/Bytes.hpp"
#include "kit/document/XmlReader.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// An attribute of rich code, such as r:id or r:embed, by which an element names a relationship of the part that the
/// rich code is in (ECMA-376-1, 22.8).
struct Reference {
    XmlSpan value;   ///< the attribute's value, between its quotes, in the document's bytes
    std::string id;  ///< of the relationship; never empty
};

/// Whether an attribute of this name holds the id of a relationship.
bool isReference(const XmlName& name);

/// The references in the order in which they stand in the document.
/// @param where  opens the message. @throws opc::Exception (damaged) for a document that is no XML.
std::vector<Reference> findReferences(const fl::Bytes& document, const std::string& where);

/// Text as it stands between the double quotes of an attribute.
std::string escapedValue(std::string_view text);

}  // namespace flowbook::kit
