// Reads content types and relationships twice at most: first by the fast reader of plain XML, and if that is unsure or
// anything is wrong, by the strict reader, whose messages have line and column. The handler must therefore be able to
// forget what it has taken in.
#include "opc/xml/FlatXml.hpp"

#include "opc/MessageText.hpp"
#include "opc/xml/PackageXml.hpp"
#include "plainxml/Reader.hpp"

#include <algorithm>

namespace opc::model::detail {

using plainxml::Reader;

namespace {

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view kSchemaInstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

/// Attributes of foreign namespaces are accepted. Those of XML itself and of schema instances are forbidden (M1.21):
/// xml:base, for one, would make a reader that honours it resolve the targets elsewhere.
void refuseReservedAttributes(const XmlElement& element) {
    for (const XmlAttribute& each : element.attributes) {
        if (each.name.ns == kXmlNamespace || each.name.ns == kSchemaInstanceNamespace) {
            throw XmlFault{"the attribute " + shown(each.name.local) + " of the namespace " + shown(each.name.ns) +
                           " is not permitted (M1.21)"};
        }
    }
}

constexpr std::size_t kUsualAttributes = 4;

/// @returns whether the values of all attributes are what stands in the document.
bool describe(const Reader& reader, XmlElement& element) {
    element.name.ns = reader.ns();
    element.name.local = reader.local();
    element.attributes.clear();
    bool isVerbatim = true;
    std::for_each(reader.attributesBegin(), reader.attributesEnd(), [&](const Reader::Attribute& each) {
        element.attributes.push_back({{each.ns, each.local, each.prefix}, each.value});
        isVerbatim = isVerbatim && each.isVerbatim;
    });
    return isVerbatim;
}

bool isBlank(const std::u16string& text) { return text.find_first_not_of(u" \t\n") == std::u16string::npos; }

/// Hands over the elements as long as the document is plain. Text between them must be white space; anything else is
/// left to the other parser to refuse. @returns whether the document was plain to its end.
bool takePlain(std::string_view document, FlatXmlHandler& handler) {
    Reader reader(document);
    XmlElement element;
    element.attributes.reserve(kUsualAttributes);
    std::u16string text;
    for (Reader::Event event = reader.next(&text); event != Reader::Event::Done; event = reader.next(&text)) {
        if (event == Reader::Event::Odd || !isBlank(text)) {
            return false;
        }
        if (event == Reader::Event::End) {
            handler.endElement({}, {});
        } else if (describe(reader, element)) {
            handler.startElement(element);
        } else {
            return false;
        }
        text.clear();
    }
    return handler.isConsistent();
}

/// As above. A fault counts as not plain, so that the other parser finds it again and reports its place.
bool takeFaultless(std::string_view document, FlatXmlHandler& handler) {
    try {
        return takePlain(document, handler);
    } catch (const XmlFault&) {
        return false;
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

void FlatXmlHandler::endElement(const XmlName&, XmlRange) { --depth_; }

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

void parseFlatXml(const fl::Bytes& bytes, const std::function<std::string()>& where, FlatXmlHandler& handler) {
    const std::string_view document(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    // A mark of byte order, or white space in front, is not plain.
    if (bytes.empty() || bytes[0] != '<' || !takeFaultless(document, handler)) {
        handler.startOver();
        parsePackageXml(bytes, where(), handler);
    }
}

}  // namespace opc::model::detail
