#include "opc/xml/dom/XercesParser.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/xml/dom/XercesParserPool.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace opc::model {
namespace {

using xercesc::XMLUni;

// The time of looking up a prefix grows with the elements that are open, and that of adding an attribute
// with those the element has, so without a limit the time of a hostile document is quadratic.
constexpr std::size_t kMaxOpenNodes = 1024;

// Tables of names and buffers grow with what a parser has read and never shrink.
constexpr std::size_t kMaxBytesOfReused = std::size_t{1} << 20;

struct ReleaseDocument {
    void operator()(xercesc::DOMDocument* document) const { document->release(); }
};
using DocumentPtr = std::unique_ptr<xercesc::DOMDocument, ReleaseDocument>;

std::string toText(const XMLCh* text) { return fl::i18n::to_string(text == nullptr ? u"" : text); }

bool isPackageEncoding(const XMLCh* encoding) {
    static constexpr std::array<const char16_t*, 4> kAllowed = {u"UTF-8", u"UTF-16", u"UTF-16LE", u"UTF-16BE"};
    return std::any_of(kAllowed.begin(), kAllowed.end(), [&](const char16_t* allowed) {
        return xercesc::XMLString::compareIStringASCII(encoding, allowed) == 0;
    });
}

}  // namespace

XercesParser::XercesParser() : DOMLSParserImpl(nullptr, &arena_) {
    // Of the scanners that look for repeated attributes in linear time, the one that knows no schemas.
    const XMLCh* const scanner = XMLUni::fgDGXMLScanner;
    setParameter(XMLUni::fgXercesScannerName, static_cast<const void*>(scanner));
    securityManager_.setEntityExpansionLimit(1);
    setParameter(XMLUni::fgXercesSecurityManager, static_cast<const void*>(&securityManager_));
    getScanner()->setEntityHandler(this);
    for (const XMLCh* name : {XMLUni::fgDOMDisallowDoctype, XMLUni::fgXercesDisableDefaultEntityResolution}) {
        setParameter(name, true);
    }
    for (const XMLCh* name :
         {XMLUni::fgXercesLoadExternalDTD, XMLUni::fgXercesLoadSchema, XMLUni::fgXercesSchema, XMLUni::fgDOMValidate,
          XMLUni::fgXercesDoXInclude, XMLUni::fgXercesContinueAfterFatalError, XMLUni::fgDOMComments,
          XMLUni::fgDOMEntities, XMLUni::fgDOMDatatypeNormalization, XMLUni::fgXercesCacheGrammarFromParse,
          XMLUni::fgXercesUseCachedGrammarInParse, XMLUni::fgXercesCalculateSrcOfs}) {
        setParameter(name, false);
    }
    isAsConfigured_ = true;
}

xercesc::DOMDocument* XercesParser::read(const xercesc::InputSource& source, std::size_t size,
                                         const std::u16string& name, bool adopt) {
    resetDocumentPool();
    bytesRead_ += size;
    isEncodingGiven_ = source.getEncoding() != nullptr;
    // A caller that takes its own error handler away takes this with it.
    getScanner()->setErrorReporter(this);
    AbstractDOMParser::parse(source);
    if (!failure_.empty()) {
        resetDocumentPool();
        const std::string quoted = name.empty() ? "" : " \"" + fl::i18n::to_string(name) + '"';
        throw InvalidXMLDocument("the XML document" + quoted + failure_);
    }
    return adopt ? copyDocument() : getDocument();
}

// The depth of what was parsed is limited, so the recursion of importNode() is.
xercesc::DOMDocument* XercesParser::copyDocument() {
    DocumentPtr copy(xercesc::DOMImplementation::getImplementation()->createDocument());
    for (xercesc::DOMNode* node = getDocument()->getFirstChild(); node != nullptr; node = node->getNextSibling()) {
        copy->appendChild(copy->importNode(node, true));
    }
    return copy.release();
}

void XercesParser::release() {
    if (!isReusable()) {
        delete this;
        return;
    }
    resetDocumentPool();
    if (!XercesParserPool::put(this)) {
        delete this;
    }
}

// A parser that ran out of memory stays busy.
bool XercesParser::isReusable() const {
    return isAsConfigured_ && bytesRead_ <= kMaxBytesOfReused && getFilter() == nullptr && !getBusy();
}

void XercesParser::setParameter(const XMLCh* name, const void* value) {
    isAsConfigured_ = false;
    DOMLSParserImpl::setParameter(name, value);
}

void XercesParser::setParameter(const XMLCh* name, bool value) {
    const bool isDefault = value && xercesc::XMLString::equals(name, XMLUni::fgDOMNamespaces);
    isAsConfigured_ = isAsConfigured_ && isDefault;
    DOMLSParserImpl::setParameter(name, value);
}

void XercesParser::error(unsigned int code, const XMLCh* domain, xercesc::XMLErrorReporter::ErrTypes type,
                         const XMLCh* text, const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line,
                         XMLFileLoc column) {
    if (type != xercesc::XMLErrorReporter::ErrType_Warning) {
        // The library has one message for both.
        const bool isProlog = code == xercesc::XMLErrs::InvalidDocumentStructure;
        record("not well-formed", line, column,
               toText(text) + (isProlog ? " (a document type declaration, or text before the first element)" : ""));
    }
    DOMLSParserImpl::error(code, domain, type, text, systemId, publicId, line, column);
    if (!failure_.empty() && !getScanner()->getInException()) {
        throw static_cast<xercesc::XMLErrs::Codes>(code);
    }
}

void XercesParser::resetErrors() {
    failure_.clear();
    openNodes_ = 0;
}

xercesc::InputSource* XercesParser::resolveEntity(xercesc::XMLResourceIdentifier* resource) {
    refuse("it refers to \"" + toText(resource->getSystemId()) + '"');
}

void XercesParser::XMLDecl(const XMLCh* version, const XMLCh* encoding, const XMLCh* standalone,
                           const XMLCh* actualEncoding) {
    if (!isEncodingGiven_ && !isPackageEncoding(actualEncoding)) {
        refuse("its encoding is " + toText(actualEncoding) + ", neither UTF-8 nor UTF-16");
    }
    // Later ones the DOM refuses, with an error that tells nothing.
    if (!xercesc::XMLString::equals(version, XMLUni::fgVersion1_0) &&
        !xercesc::XMLString::equals(version, XMLUni::fgVersion1_1)) {
        refuse("its XML version is " + toText(version) + ", neither 1.0 nor 1.1");
    }
    DOMLSParserImpl::XMLDecl(version, encoding, standalone, actualEncoding);
}

void XercesParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, const XMLCh* prefix,
                                const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount,
                                bool isEmpty, bool isRoot) {
    openNodes_ += 1 + attributeCount;
    if (openNodes_ > kMaxOpenNodes) {
        refuse("more than " + std::to_string(kMaxOpenNodes) + " nested elements and attributes of these");
    }
    DOMLSParserImpl::startElement(declaration, urlId, prefix, attributes, attributeCount, isEmpty, isRoot);
}

void XercesParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, bool isRoot,
                              const XMLCh* prefix) {
    openNodes_ -= 1 + fCurrentParent->getAttributes()->getLength();
    DOMLSParserImpl::endElement(declaration, urlId, isRoot, prefix);
}

void XercesParser::endDocument() {
    // The scanner takes a NUL after the document element for the end of the input.
    if (!getScanner()->getReaderMgr()->atEOF()) {
        refuse("a NUL character");
    }
    DOMLSParserImpl::endDocument();
}

void XercesParser::refuse(const std::string& reason) {
    const xercesc::Locator* const place = getScanner()->getLocator();
    record("refused", place->getLineNumber(), place->getColumnNumber(), reason);
    // What the scanner takes for the end of parsing.
    // NOLINTNEXTLINE(misc-throw-by-value-catch-by-reference)
    throw xercesc::XMLErrs::InvalidDocumentStructure;
}

void XercesParser::record(const char* finding, XMLFileLoc line, XMLFileLoc column, const std::string& reason) {
    if (failure_.empty()) {
        failure_ = std::string(" is ") + finding + " at line " + std::to_string(line) + ", column " +
                   std::to_string(column) + ": " + reason;
    }
}

}  // namespace opc::model
