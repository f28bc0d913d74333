// The entry to the module that touches the XML library, and the initialisation of that library. What it throws is never
// let out: none of it is a std::exception.
#include "opc/xml/dom/XercesDom.hpp"

#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/xml/dom/XercesErrors.hpp"
#include "opc/xml/dom/XercesParser.hpp"
#include "opc/xml/dom/XercesWriter.hpp"

#include <new>
#include <string>
#include <type_traits>
#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PanicHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace opc::model {
namespace {

/// The library's own handler ends the process, which is not a library's decision.
class ThrowingPanicHandler final : public xercesc::PanicHandler {
public:
    void panic(const PanicReasons reason) override {
        // What it cannot make at its start are tables in memory.
        if (reason == Panic_AllStaticInitErr) {
            throw std::bad_alloc();
        }
        throw Exception(ErrorKind::InputOutput,
                        std::string("the XML library cannot go on: ") + getPanicReasonString(reason));
    }
};

/// Initialises the XML library. It is never terminated: terminating it and initialising it anew costs more than reading
/// a small file, and documents may live in static objects. A failed attempt leaves the library in a state that is fit
/// neither for use nor for termination, and the library would take a second attempt for done. So there is only one
/// attempt.
bool initialise() {
    static bool hasFailed = false;
    if (hasFailed) {
        throw std::bad_alloc();
    }
    // Never destroyed, as the library keeps a pointer to it until the process has ended.
    static ThrowingPanicHandler& panicHandler = *new ThrowingPanicHandler();
    hasFailed = true;
    translatingXercesErrors("cannot initialise the XML library", [] {
        xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, &panicHandler);
    });
    hasFailed = false;
    return true;
}

/// Returns the object as the class that createParser() or createWriter() made; a caller may pass any other.
template <class Own, class Interface>
Own& asOwn(Interface* object) {
    auto* const own = dynamic_cast<Own*>(object);
    if (own == nullptr) {
        throw Exception(ErrorKind::Misuse, "cannot use an XML parser or writer that was not made by XercesHelper");
    }
    return *own;
}

xercesc::DOMDocument* readDocument(xercesc::DOMLSParser* parser, const std::u16string& text, SourceEncoding encoding,
                                   bool adoptDocument, const std::u16string& name) {
    checkSize(text.size(), XercesParser::documentNamed(name));
    checkCharacters(text, XercesParser::documentNamed(name));
    return translatingXercesErrors("cannot read the XML document", [&] {
        return asOwn<XercesParser>(parser).read(text, encoding, name, adoptDocument);
    });
}

DocumentText decodedFrom(InputStream& stream, const std::string& document) {
    std::vector<unsigned char> content;
    ByteArrayOutAdaptor out(content);
    stream.transferTo(out);
    return decodeDocument(content, document);
}

const XMLCh* nullIfEmpty(const std::u16string& text) { return text.empty() ? nullptr : text.c_str(); }

}  // namespace

const Dom* pxplatform_dom() {
    [[maybe_unused]] static const bool isInitialised = initialise();
    static_assert(std::is_trivially_destructible_v<XercesDom>);
    static const XercesDom only;
    return &only;
}

/// Where the module's objects are linked instead of loaded.
const Dom& dom() { return *pxplatform_dom(); }

xercesc::DOMLSParser* XercesDom::createParser() const {
    return translatingXercesErrors("cannot create an XML parser", [] { return new XercesParser(); });
}

xercesc::DOMLSSerializer* XercesDom::createWriter() const {
    return translatingXercesErrors("cannot create an XML writer", [] { return new XercesWriter(); });
}

xercesc::DOMDocument* XercesDom::createDocument() const {
    return translatingXercesErrors("cannot create an XML document",
                                   [] { return xercesc::DOMImplementation::getImplementation()->createDocument(); });
}

xercesc::DOMDocument* XercesDom::readDocumentFromString(xercesc::DOMLSParser* parser, const std::u16string& text,
                                                        bool adoptDocument, const std::u16string& name) const {
    return readDocument(parser, text, SourceEncoding::Text, adoptDocument, name);
}

xercesc::DOMDocument* XercesDom::readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& stream,
                                                        bool adoptDocument, const std::u16string& name) const {
    const auto [text, encoding] = decodedFrom(stream, XercesParser::documentNamed(name));
    return readDocument(parser, text, encoding, adoptDocument, name);
}

void XercesDom::writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                                      OutputStream& out) const {
    translatingXercesErrors("cannot write the XML document",
                            [&] { asOwn<XercesWriter>(writer).writeDocument(*document, out); });
}

bool XercesDom::getElementAttributeNS(const xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                      const std::u16string& localName, std::u16string& value) const {
    const auto* const attribute = element->getAttributeNodeNS(nullIfEmpty(namespaceURI), localName.c_str());
    if (attribute == nullptr) {
        return false;
    }
    value = translatingXercesErrors("cannot read an XML attribute", [&] {
        const XMLCh* const text = attribute->getValue();
        return text == nullptr ? u"" : text;
    });
    return true;
}

xercesc::DOMElement* XercesDom::appendElementNS(xercesc::DOMDocument& document, xercesc::DOMNode& parent,
                                                const std::u16string& namespaceURI,
                                                const XercesString& qualifiedName) const {
    return translatingXercesErrors("cannot append an XML element", [&] {
        auto* const element = document.createElementNS(nullIfEmpty(namespaceURI), qualifiedName.c_str());
        parent.appendChild(element);
        return element;
    });
}

void XercesDom::setElementAttributeNS(xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                      const XercesString& qualifiedName, const std::u16string& value) const {
    translatingXercesErrors("cannot set an XML attribute", [&] {
        element->setAttributeNS(nullIfEmpty(namespaceURI), qualifiedName.c_str(), value.c_str());
    });
}

}  // namespace opc::model
