#pragma once

#include "opc/xml/Dom.hpp"

namespace opc::model {

// Never deleted through its base.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class XercesDom final : public Dom {
public:
    xercesc::DOMLSParser* createParser() const override;
    xercesc::DOMLSSerializer* createWriter() const override;
    xercesc::DOMDocument* createDocument() const override;
    xercesc::DOMDocument* readDocumentFromString(xercesc::DOMLSParser* parser, const std::u16string& text,
                                                 bool adoptDocument, const std::u16string& name) const override;
    xercesc::DOMDocument* readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& stream, bool adoptDocument,
                                                 const std::u16string& name) const override;
    void writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                               OutputStream& out) const override;
    bool getElementAttributeNS(const xercesc::DOMElement* element, const std::u16string& namespaceURI,
                               const std::u16string& localName, std::u16string& value) const override;
    xercesc::DOMElement* appendElementNS(xercesc::DOMDocument& document, xercesc::DOMNode& parent,
                                         const std::u16string& namespaceURI,
                                         const XercesString& qualifiedName) const override;
    void setElementAttributeNS(xercesc::DOMElement* element, const std::u16string& namespaceURI,
                               const XercesString& qualifiedName, const std::u16string& value) const override;
};

/// What the module is entered by: initialises the XML library at the first call. @throws as dom() does.
extern "C" PXPLATFORM_EXPORT const Dom* pxplatform_dom();

}  // namespace opc::model
