#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// A name as XML namespaces see it, with the prefix that it was written with; UTF-8.
struct XmlName {
    std::string_view ns;
    std::string_view local;
    std::string_view prefix;

    bool is(std::string_view otherNs, std::string_view otherLocal) const {
        return local == otherLocal && ns == otherNs;
    }
};

struct XmlAttribute {
    XmlName name;
    std::string_view value;
};

/// Bytes of a document: from the first one to the one after the last.
struct XmlRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// A start tag; all texts are gone when the handler returns. Namespace declarations are no attributes.
struct XmlElement {
    XmlName name;
    std::vector<XmlAttribute> attributes;
    XmlRange tag;

    /// The value of an attribute in no namespace; null when there is none.
    const std::string_view* attribute(std::string_view local) const {
        for (const XmlAttribute& each : attributes) {
            if (each.name.is({}, local)) {
                return &each.value;
            }
        }
        return nullptr;
    }
};

/// What a handler throws for XML that breaks the rules of its part; the reader makes an opc::Exception of
/// kind Damaged of it that tells the file, the part and the place.
struct XmlFault {
    std::string message;
};

/// Takes a document in, piece by piece. Whatever a handler throws ends the parse and reaches its caller.
class PackageXmlHandler {
public:
    virtual ~PackageXmlHandler() = default;

    virtual void startElement(const XmlElement& element) = 0;

    /// @param tag  the end tag; no bytes when one tag is both start and end.
    virtual void endElement(XmlRange tag) = 0;

    /// Text may come in several pieces.
    virtual void characters(std::string_view text) = 0;

    /// Comes before the element that it is on. An empty URI undoes the default namespace.
    virtual void startNamespace(std::string_view /*prefix*/, std::string_view /*uri*/) {}
    virtual void endNamespace() {}

protected:
    PackageXmlHandler() = default;
    PackageXmlHandler(const PackageXmlHandler&) = default;
    PackageXmlHandler& operator=(const PackageXmlHandler&) = default;
};

/// Parses the XML that belongs to the package itself. Only UTF-8 and UTF-16 are taken (M1.17), and no
/// document type declaration (M1.18), so no entity is ever defined and nothing outside is looked at.
/// @param where  the file and the part, for messages.
/// @throws opc::model::InvalidXMLDocument, opc::Exception for an XmlFault of the handler, std::bad_alloc, and
///         whatever else the handler throws.
void parsePackageXml(const std::vector<unsigned char>& bytes, const std::string& where, PackageXmlHandler& handler);

}  // namespace opc::model::detail
