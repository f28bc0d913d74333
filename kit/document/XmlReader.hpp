#pragma once

#include "fl/Bytes.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// A name with the namespace that it is in; the views are good during the call that hands them over.
struct XmlName {
    std::string_view ns;
    std::string_view local;

    bool is(std::string_view wantedNs, std::string_view wantedLocal) const {
        return local == wantedLocal && ns == wantedNs;
    }
};

struct XmlAttribute {
    XmlName name;
    std::string_view value;
};

/// Where a tag lies in the bytes that are read.
struct XmlSpan {
    std::size_t begin;
    std::size_t end;
};

/// What a document holds, in its order; all text is UTF-8. What a handler throws ends the reading and passes through.
class XmlHandler {
public:
    virtual ~XmlHandler() = default;
    virtual void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan tag) = 0;
    virtual void endElement(const XmlName& name, XmlSpan tag) = 0;
    /// Text may come in several pieces.
    virtual void characters(std::string_view text) = 0;
    /// Before the element that declares it. An empty prefix is the default namespace.
    virtual void namespaceDeclared(std::string_view, std::string_view) {}

protected:
    XmlHandler() = default;
    XmlHandler(const XmlHandler&) = default;
    XmlHandler& operator=(const XmlHandler&) = default;
};

enum class XmlEncoding {
    AsDeclared,  ///< UTF-8 or UTF-16, as the document says
    Utf8         ///< whatever it says
};

/// Reads a document to its end. Document type declarations, and elements nested deeper than 512, are refused, so
/// neither entities nor depth can be made to cost more than the size of the document.
/// @param where  opens the messages.
/// @throws opc::Exception (damaged) telling line and column; std::bad_alloc; what the handler throws.
void readXml(const fl::Bytes& bytes, const std::string& where, XmlEncoding encoding, XmlHandler& handler);

}  // namespace flowbook::kit
