// The public helper for DOM documents. Functions that only walk a tree are here; everything that calls into the XML
// library goes through dom(), which loads it.
#include "opc/model/XercesHelper.hpp"

#include "opc/model/XercesGuard.hpp"
#include "opc/xml/Dom.hpp"
#include "opc/xml/DomTraversal.hpp"

#include <cstddef>
#include <string_view>

namespace opc::model {
namespace {

const std::u16string& nameOf(const std::u16string& publicId, const std::u16string& systemId) {
    return systemId.empty() ? publicId : systemId;
}

/// The XML library uses null and the empty string alike for "none".
std::u16string_view view(const XMLCh* text) { return text == nullptr ? std::u16string_view() : text; }

bool isNamed(const xercesc::DOMElement& element, const std::u16string& namespaceURI, const std::u16string& localName) {
    return view(element.getLocalName()) == localName && view(element.getNamespaceURI()) == namespaceURI;
}

xercesc::DOMElement* firstNamed(xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                const std::u16string& localName) {
    while (element != nullptr && !isNamed(*element, namespaceURI, localName)) {
        element = element->getNextElementSibling();
    }
    return element;
}

}  // namespace

XercesGuard::XercesGuard() { dom(); }

xercesc::DOMLSParser* XercesHelper::createParser() { return dom().createParser(); }

xercesc::DOMLSSerializer* XercesHelper::createWriter() { return dom().createWriter(); }

xercesc::DOMDocument* XercesHelper::createDocument() { return dom().createDocument(); }

xercesc::DOMDocument* XercesHelper::readDocumentFromString(xercesc::DOMLSParser* parser, const std::u16string& text,
                                                           bool adoptDocument, const std::u16string& publicId,
                                                           const std::u16string& systemId) {
    return dom().readDocumentFromString(parser, text, adoptDocument, nameOf(publicId, systemId));
}

xercesc::DOMDocument* XercesHelper::readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& stream,
                                                           bool adoptDocument, const std::u16string& publicId,
                                                           const std::u16string& systemId) {
    return dom().readDocumentFromStream(parser, stream, adoptDocument, nameOf(publicId, systemId));
}

void XercesHelper::writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                                         OutputStream& out) {
    dom().writeDocumentToStream(writer, document, out);
}

xercesc::DOMElement* XercesHelper::getElementNS(const xercesc::DOMElement* parent, const std::u16string& namespaceURI,
                                                const std::u16string& localName) {
    return firstNamed(parent->getFirstElementChild(), namespaceURI, localName);
}

std::vector<xercesc::DOMElement*> XercesHelper::getElementsNS(const xercesc::DOMElement* parent,
                                                              const std::u16string& namespaceURI,
                                                              const std::u16string& localName) {
    std::vector<xercesc::DOMElement*> found;
    auto* element = firstNamed(parent->getFirstElementChild(), namespaceURI, localName);
    while (element != nullptr) {
        found.push_back(element);
        element = firstNamed(element->getNextElementSibling(), namespaceURI, localName);
    }
    return found;
}

bool XercesHelper::getElementAttributeNS(const xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                         const std::u16string& localName, std::u16string& value) {
    return dom().getElementAttributeNS(element, namespaceURI, localName, value);
}

std::u16string XercesHelper::getTextContent(const xercesc::DOMElement* element) {
    std::u16string text;
    forEachNodeBelow(*element, [&](const xercesc::DOMNode& node, std::size_t /*depth*/) {
        const auto type = node.getNodeType();
        if (type == xercesc::DOMNode::TEXT_NODE || type == xercesc::DOMNode::CDATA_SECTION_NODE) {
            const auto& characters = static_cast<const xercesc::DOMCharacterData&>(node);
            text.append(characters.getData(), characters.getLength());
        }
    });
    return text;
}

xercesc::DOMElement* XercesHelper::appendElementNS(xercesc::DOMDocument* document, const std::u16string& namespaceURI,
                                                   const XercesString& qualifiedName) {
    return dom().appendElementNS(*document, *document, namespaceURI, qualifiedName);
}

xercesc::DOMElement* XercesHelper::appendElementNS(xercesc::DOMElement* parent, const std::u16string& namespaceURI,
                                                   const XercesString& qualifiedName) {
    return dom().appendElementNS(*parent->getOwnerDocument(), *parent, namespaceURI, qualifiedName);
}

void XercesHelper::setElementAttributeNS(xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                         const XercesString& qualifiedName, const std::u16string& value) {
    dom().setElementAttributeNS(element, namespaceURI, qualifiedName, value);
}

}  // namespace opc::model
