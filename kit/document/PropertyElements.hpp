#pragma once

#include "kit/document/XmlReader.hpp"
#include "opc/model/Package.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// An element of the core properties, such as "creator" or "lastModifiedBy"; what other programs store is there too.
struct PropertyElement {
    std::string name;   ///< the local name
    std::string value;  ///< UTF-8; the text of the element and of what is in it
    XmlSpan span{};     ///< in the bytes of the part
};

/// The elements of the part of core properties, in the order of the file; nothing where there is no such part.
/// @throws opc::Exception when it cannot be read, or is larger than the library reads.
std::vector<PropertyElement> carriedProperties(const opc::model::Package& package);

/// The name of the part of core properties; nothing when there is none.
std::optional<std::string> corePropertiesPart(const opc::model::Package& package);

/// Gives the first element of that local name a text in the place of what it holds, or adds it where it is one of those
/// that the core properties may have (ECMA-376-2, 8.3.4) beside those that the library sets.
/// @param package  open for update. @returns whether that could be done.
/// @throws opc::Exception when a part of properties cannot be read, or could not be read any more.
bool setPropertyText(opc::model::Package& package, const std::string& name, const std::string& value);

/// Removes the elements of that local name from the parts of properties; does nothing where there are none.
/// @param package  open for update. @throws opc::Exception when the part cannot be read.
void removeProperty(opc::model::Package& package, const std::string& name);

}  // namespace flowbook::kit
