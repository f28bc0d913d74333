#pragma once

#include "fl/Bytes.hpp"
#include "strictxml/Reader.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

using XmlName = strictxml::Name;
using XmlAttribute = strictxml::Attribute;
using XmlSpan = strictxml::Range;
using XmlEncoding = strictxml::Encoding;

/// What a document holds, in its order; all text is UTF-8. What a handler throws ends the reading and passes through.
class XmlHandler : public strictxml::Handler {
public:
    virtual void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan tag) = 0;

    /// Before the element that declares it. An empty prefix is the default namespace.
    virtual void namespaceDeclared(std::string_view, std::string_view) {}

private:
    void startElement(const strictxml::Element& element) final {
        startElement(element.name, element.attributes, element.tag);
    }
    void startNamespace(std::string_view prefix, std::string_view uri) final { namespaceDeclared(prefix, uri); }
};

/// Reads a document to its end, however deep its elements are nested: handlers do not recurse. Document type
/// declarations are refused, so that entities cannot be made to cost more than the size of the document.
/// @param where  opens the messages.
/// @throws opc::Exception (damaged) with line and column; std::bad_alloc; what the handler throws.
void readXml(const fl::Bytes& bytes, const std::string& where, XmlEncoding encoding, XmlHandler& handler);

}  // namespace flowbook::kit
