#include "opc/model/XercesHelper.hpp"

#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/xml/dom/XercesArena.hpp"
#include "opc/xml/dom/XercesErrors.hpp"
#include "opc/xml/dom/XercesParser.hpp"
#include "opc/xml/dom/XercesParserPool.hpp"
#include "opc/xml/dom/XercesTraversal.hpp"
#include "opc/xml/dom/XercesWriter.hpp"

#include <memory>
#include <string_view>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace opc::model {
namespace {

/// `object` as what createParser() or createWriter() made it.
template <class Own, class Interface>
Own& asOwn(Interface* object) {
    auto* const own = dynamic_cast<Own*>(object);
    if (own == nullptr) {
        throw Exception(ErrorKind::Misuse, "cannot use an XML parser or writer that was not made by XercesHelper");
    }
    return *own;
}

struct Bytes {
    const void* data;
    std::size_t size;
    const XMLCh* encoding;  ///< null to detect it
};

xercesc::DOMDocument* readDocument(xercesc::DOMLSParser* parser, const Bytes& bytes, bool adoptDocument,
                                   const std::u16string& publicId, const std::u16string& systemId) {
    return translatingXercesErrors("cannot read the XML document", [&] {
        auto& own = asOwn<XercesParser>(parser);
        xercesc::MemBufInputSource source(static_cast<const XMLByte*>(bytes.data), bytes.size, systemId.c_str(), false,
                                          &own.memory());
        source.setCopyBufToStream(false);
        source.setPublicId(publicId.c_str());
        if (bytes.encoding != nullptr) {
            source.setEncoding(bytes.encoding);
        }
        const std::u16string& name = systemId.empty() ? publicId : systemId;
        return own.read(source, bytes.size, name, adoptDocument);
    });
}

/// The library takes null and the empty string alike for "none".
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

const XMLCh* nullIfEmpty(const std::u16string& text) { return text.empty() ? nullptr : text.c_str(); }

xercesc::DOMElement* appendElement(xercesc::DOMDocument& document, xercesc::DOMNode& parent,
                                   const std::u16string& namespaceURI, const XercesString& qualifiedName) {
    return translatingXercesErrors("cannot append an XML element", [&] {
        auto* const element = document.createElementNS(nullIfEmpty(namespaceURI), qualifiedName.c_str());
        parent.appendChild(element);
        return element;
    });
}

}  // namespace

xercesc::DOMLSParser* XercesHelper::createParser() {
    return translatingXercesErrors("cannot create an XML parser", [] { return XercesParserPool::take(); });
}

xercesc::DOMLSSerializer* XercesHelper::createWriter() {
    return translatingXercesErrors("cannot create an XML writer", [] { return new XercesWriter(); });
}

xercesc::DOMDocument* XercesHelper::createDocument() {
    return translatingXercesErrors("cannot create an XML document", [] {
        auto arena = std::make_unique<XercesArena>();
        auto* const document = xercesc::DOMImplementation::getImplementation()->createDocument(arena.get());
        arena.release()->endWithLastBlock();
        return document;
    });
}

xercesc::DOMDocument* XercesHelper::readDocumentFromString(xercesc::DOMLSParser* parser, const std::u16string& text,
                                                           bool adoptDocument, const std::u16string& publicId,
                                                           const std::u16string& systemId) {
    std::u16string_view content = text;
    if (!content.empty() && content.front() == u'\uFEFF') {
        content.remove_prefix(1);
    }
    const Bytes bytes{content.data(), content.size() * sizeof(char16_t), xercesc::XMLUni::fgUTF16LEncodingString};
    return readDocument(parser, bytes, adoptDocument, publicId, systemId);
}

xercesc::DOMDocument* XercesHelper::readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& stream,
                                                           bool adoptDocument, const std::u16string& publicId,
                                                           const std::u16string& systemId) {
    std::vector<unsigned char> content;
    ByteArrayOutAdaptor out(content);
    stream.transferTo(out);
    return readDocument(parser, {content.data(), content.size(), nullptr}, adoptDocument, publicId, systemId);
}

void XercesHelper::writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                                         OutputStream& out) {
    translatingXercesErrors("cannot write the XML document",
                            [&] { asOwn<XercesWriter>(writer).writeDocument(*document, out); });
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
    const auto* const attribute = element->getAttributeNodeNS(nullIfEmpty(namespaceURI), localName.c_str());
    if (attribute == nullptr) {
        return false;
    }
    value = translatingXercesErrors("cannot read an XML attribute", [&] { return view(attribute->getValue()); });
    return true;
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
    return appendElement(*document, *document, namespaceURI, qualifiedName);
}

xercesc::DOMElement* XercesHelper::appendElementNS(xercesc::DOMElement* parent, const std::u16string& namespaceURI,
                                                   const XercesString& qualifiedName) {
    return appendElement(*parent->getOwnerDocument(), *parent, namespaceURI, qualifiedName);
}

void XercesHelper::setElementAttributeNS(xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                         const XercesString& qualifiedName, const std::u16string& value) {
    translatingXercesErrors("cannot set an XML attribute", [&] {
        element->setAttributeNS(nullIfEmpty(namespaceURI), qualifiedName.c_str(), value.c_str());
    });
}

}  // namespace opc::model
