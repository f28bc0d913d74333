#pragma once

#include "opc/InputStream.hpp"
#include "opc/OutputStream.hpp"
#include "opc/model/XercesString.hpp"

#include <string>

// The headers of these define functions that count as uses of the library.
XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMElement;
class DOMLSParser;
class DOMLSSerializer;
class DOMNode;
XERCES_CPP_NAMESPACE_END

namespace opc::model {

/// What XercesHelper does, with the meaning that its header gives. A class of its own because the XML library, with all
/// that it draws in, costs a process more to load than reading a hundred small files: what needs that library lies in
/// a module, and only the module knows more of it than these declarations.
class Dom {
public:
    Dom(const Dom&) = delete;
    Dom& operator=(const Dom&) = delete;

    virtual xercesc::DOMLSParser* createParser() const = 0;
    virtual xercesc::DOMLSSerializer* createWriter() const = 0;
    virtual xercesc::DOMDocument* createDocument() const = 0;
    virtual xercesc::DOMDocument* readDocumentFromString(xercesc::DOMLSParser* parser, const std::u16string& text,
                                                         bool adoptDocument, const std::u16string& name) const = 0;
    virtual xercesc::DOMDocument* readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& stream,
                                                         bool adoptDocument, const std::u16string& name) const = 0;
    virtual void writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                                       OutputStream& out) const = 0;
    virtual bool getElementAttributeNS(const xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                       const std::u16string& localName, std::u16string& value) const = 0;
    virtual xercesc::DOMElement* appendElementNS(xercesc::DOMDocument& document, xercesc::DOMNode& parent,
                                                 const std::u16string& namespaceURI,
                                                 const XercesString& qualifiedName) const = 0;
    virtual void setElementAttributeNS(xercesc::DOMElement* element, const std::u16string& namespaceURI,
                                       const XercesString& qualifiedName, const std::u16string& value) const = 0;

protected:
    Dom() = default;
    ~Dom() = default;
};

/// Returns the only object of its class, with the XML library initialised until the process ends. The first call loads
/// the module; if it fails, the next call tries again. Several threads may call this at the same time.
/// @throws opc::Exception of kind InputOutput that names the file which cannot be loaded, std::bad_alloc.
const Dom& dom();

}  // namespace opc::model
