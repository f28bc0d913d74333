#include "opc/xml/FlatXmlHandler.hpp"

#include "opc/names/MessageText.hpp"

#include <algorithm>

namespace opc::model::detail {
namespace {

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view kSchemaInstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

/// Attributes of foreign namespaces are let pass, but those of XML itself and of schema instances are forbidden
/// (M1.21): xml:base, for one, would send the targets elsewhere in a reader that minds it.
void refuseReservedAttributes(const XmlElement& element) {
    for (const XmlAttribute& each : element.attributes) {
        if (each.name.ns == kXmlNamespace || each.name.ns == kSchemaInstanceNamespace) {
            throw XmlFault{"the attribute " + shown(each.name.local) + " of the namespace " + shown(each.name.ns) +
                           " is not permitted (M1.21)"};
        }
    }
}

}  // namespace

void FlatXmlHandler::startElement(const XmlElement& element) {
    const bool expected = depth_ == 0 ? element.name.is(ns_, rootName_) : depth_ == 1 && element.name.ns == ns_;
    if (!expected) {
        throw XmlFault{"unexpected element " + shown(element.name.local)};
    }
    refuseReservedAttributes(element);
    ++depth_;
    if (depth_ == 2) {
        listed(element);
    } else {
        permitOnly(element, {});
    }
}

void FlatXmlHandler::endElement(XmlRange) { --depth_; }

void FlatXmlHandler::characters(std::string_view text) {
    if (depth_ == 1 && text.find_first_not_of(" \t\r\n") != std::string_view::npos) {
        throw XmlFault{"unexpected text between the elements"};
    }
}

std::string_view FlatXmlHandler::required(const XmlElement& element, std::string_view attribute) {
    const std::string_view* value = element.attribute(attribute);
    if (value == nullptr || value->empty()) {
        throw XmlFault{"the element " + shown(element.name.local) + " has no " + shown(attribute)};
    }
    return *value;
}

void FlatXmlHandler::permitOnly(const XmlElement& element, std::initializer_list<std::string_view> attributes) {
    for (const XmlAttribute& each : element.attributes) {
        const bool known = std::find(attributes.begin(), attributes.end(), each.name.local) != attributes.end();
        if (each.name.ns.empty() && !known) {
            throw XmlFault{"the element " + shown(element.name.local) + " has an unknown attribute " +
                           shown(each.name.local)};
        }
    }
}

}  // namespace opc::model::detail
