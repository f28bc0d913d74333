#pragma once

#include "fl/PlatformExport.hpp"
#include "opc/InputStream.hpp"
#include "opc/OutputStream.hpp"
#include "opc/model/XercesString.hpp"

#include <string>
#include <vector>
#include <xercesc/dom/DOM.hpp>

namespace opc::model {

/// DOM work with the XML library's own types; an XercesGuard must live around every call and around
/// the life of what is returned. All functions throw std::bad_alloc when memory runs out.
///
/// The XML library is one for the whole process, and the first XercesGuard initialises it for good. A host that
/// initialises it too, before or after, may do so as long as it terminates it no more often than it initialised it. A
/// memory manager that such a host hands to XMLPlatformUtils::Initialize is used for all documents of the process, so
/// it has to outlive the last call of this library: the host never destroys it.
class PXPLATFORM_EXPORT XercesHelper {
public:
    XercesHelper() = delete;

    /// A parser that reads nothing but the text it is given: document type declarations are errors,
    /// entities outside the predefined ones too, nothing external is opened, nothing is validated.
    /// Owned by the caller, who ends it with release(), which frees its documents.
    static xercesc::DOMLSParser* createParser();

    /// A serializer of UTF-8 XML with a declaration, no added white space. Owned by the caller, who ends
    /// it with release().
    static xercesc::DOMLSSerializer* createWriter();

    /// An empty document, owned by the caller, who ends it with release().
    static xercesc::DOMDocument* createDocument();

    /// Parses a whole document. A leading U+FEFF is skipped and the encoding that the declaration
    /// names is ignored: the text is UTF-16 already.
    /// @param adoptDocument  whether the document is the caller's to release; otherwise it lives as long
    ///                       as the parser, or until the parser's next document.
    /// @param publicId, systemId  what messages call the document; both may be empty.
    /// @throws InvalidXMLDocument for anything the parser reported as an error, with line and column.
    static xercesc::DOMDocument* readDocumentFromString(xercesc::DOMLSParser* parser, const std::u16string& text,
                                                        bool adoptDocument, const std::u16string& publicId,
                                                        const std::u16string& systemId);

    /// As above, from bytes in UTF-8 or UTF-16; an exception of the stream passes through.
    static xercesc::DOMDocument* readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& stream,
                                                        bool adoptDocument, const std::u16string& publicId,
                                                        const std::u16string& systemId);

    /// @throws opc::Exception when the document cannot be written as UTF-8 (a lone surrogate).
    static void writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                                      OutputStream& out);

    /// The first child element of that name, or null.
    static xercesc::DOMElement* getElementNS(const xercesc::DOMElement* parent, const std::u16string& namespaceURI,
                                             const std::u16string& localName);

    /// All child elements of that name, in document order.
    static std::vector<xercesc::DOMElement*> getElementsNS(const xercesc::DOMElement* parent,
                                                           const std::u16string& namespaceURI,
                                                           const std::u16string& localName);

    /// Whether the attribute is present; `value` is set only then.
    static bool getElementAttributeNS(const xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                      const std::u16string& localName, std::u16string& value);

    /// All text below an element, CDATA sections included, in document order; comments and
    /// processing instructions are left out. Unlike the DOM's own function it does not recurse, so
    /// that no document is nested too deeply for it.
    static std::u16string getTextContent(const xercesc::DOMElement* element);

    /// A new element as the last child (or as the document element).
    static xercesc::DOMElement* appendElementNS(xercesc::DOMDocument* document, const std::u16string& namespaceURI,
                                                const XercesString& qualifiedName);
    static xercesc::DOMElement* appendElementNS(xercesc::DOMElement* parent, const std::u16string& namespaceURI,
                                                const XercesString& qualifiedName);

    static void setElementAttributeNS(xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                      const XercesString& qualifiedName, const std::u16string& value);
};

}  // namespace opc::model
