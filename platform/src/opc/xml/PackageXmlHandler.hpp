#pragma once

#include "opc/xml/XmlElement.hpp"

#include <string>
#include <string_view>

namespace opc::model::detail {

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

}  // namespace opc::model::detail
