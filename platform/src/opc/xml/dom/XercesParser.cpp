// A DOM parser for hostile input. It opens nothing, refuses every document type declaration, and bounds the memory of
// the tree while it grows, by estimates of what a node and a name cost. The library's base classes are overridden at
// every place where a document could make them spend memory or reach outside.
#include "opc/xml/dom/XercesParser.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/xml/dom/XercesErrors.hpp"

#include <algorithm>
#include <initializer_list>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace opc::model {
namespace {

using xercesc::XMLUni;

std::string toText(const XMLCh* text) { return fl::i18n::to_string(text == nullptr ? u"" : text); }

bool isOneOf(const XMLCh* encoding, std::initializer_list<const char16_t*> names) {
    return std::any_of(names.begin(), names.end(), [&](const char16_t* name) {
        return xercesc::XMLString::compareIStringASCII(encoding, name) == 0;
    });
}

/// Whether a document in that encoding may declare the named one. A document in UTF-8 that declares UTF-16 is accepted:
/// programs that convert a document often leave its declaration as it was.
bool mayDeclare(SourceEncoding encoding, const XMLCh* declared) {
    switch (encoding) {
    case SourceEncoding::Utf8:
        return isOneOf(declared, {u"UTF-8", u"UTF-16"});
    case SourceEncoding::Utf16LittleEndian:
        return isOneOf(declared, {u"UTF-16", u"UTF-16LE"});
    case SourceEncoding::Utf16BigEndian:
        return isOneOf(declared, {u"UTF-16", u"UTF-16BE"});
    case SourceEncoding::Text:
        break;
    }
    return true;
}

}  // namespace

/// Switches off all that would open something else, needs a schema, or keeps something from one document for the next.
XercesParser::XercesParser(std::uint64_t mostBytes) : mostBytes_(mostBytes) {
    securityManager_.setEntityExpansionLimit(1);
    renewScanner();
    for (const XMLCh* name :
         {XMLUni::fgXercesLoadExternalDTD, XMLUni::fgXercesLoadSchema, XMLUni::fgXercesSchema, XMLUni::fgDOMValidate,
          XMLUni::fgXercesDoXInclude, XMLUni::fgXercesContinueAfterFatalError, XMLUni::fgDOMComments,
          XMLUni::fgDOMEntities, XMLUni::fgDOMDatatypeNormalization, XMLUni::fgXercesCacheGrammarFromParse,
          XMLUni::fgXercesUseCachedGrammarInParse, XMLUni::fgXercesCalculateSrcOfs}) {
        setParameter(name, false);
    }
}

// Makes a new scanner for each document. A scanner goes on in the XML version of its last document, and keeps the names
// of all its documents for ever.
void XercesParser::renewScanner() {
    // Two scanners find repeated attributes in linear time. This is the one without support for schemas.
    const XMLCh* const scanner = XMLUni::fgDGXMLScanner;
    setParameter(XMLUni::fgXercesScannerName, static_cast<const void*>(scanner));
    setParameter(XMLUni::fgXercesSecurityManager, static_cast<const void*>(&securityManager_));
    setParameter(XMLUni::fgDOMDisallowDoctype, true);
    setParameter(XMLUni::fgXercesDisableDefaultEntityResolution, true);
    getScanner()->setEntityHandler(this);
    // A caller that removes its own error handler would remove this one with it, and faults would pass unnoticed.
    getScanner()->setErrorReporter(this);
}

/// Parses text that is in memory as UTF-16, without copying it. What the declaration says of the encoding is checked in
/// XMLDecl(), and otherwise has no effect.
xercesc::DOMDocument* XercesParser::read(const std::u16string& text, SourceEncoding encoding,
                                         const std::u16string& name, bool adopt) {
    const auto* const units = reinterpret_cast<const XMLByte*>(text.data());
    xercesc::MemBufInputSource source(units, text.size() * sizeof(char16_t), name.c_str());
    source.setCopyBufToStream(false);
    source.setEncoding(XMLUni::fgUTF16LEncodingString);
    resetDocumentPool();
    renewScanner();
    bytes_ = text.size() * Limits::kDomBytesPerUnit;
    names_.clear();
    encoding_ = encoding;
    AbstractDOMParser::parse(source);
    if (!failure_.text.empty()) {
        resetDocumentPool();
        throw InvalidXMLDocument(failure_.kind, documentNamed(name) + failure_.text);
    }
    return adopt ? copyDocument() : getDocument();
}

std::string XercesParser::documentNamed(const std::u16string& name) {
    return name.empty() ? "the XML document" : "the XML document \"" + fl::i18n::to_string(name) + '"';
}

// importNode() works recursively. It cannot exhaust the stack, as the depth of what was parsed is limited.
xercesc::DOMDocument* XercesParser::copyDocument() {
    XercesPtr<xercesc::DOMDocument> copy(xercesc::DOMImplementation::getImplementation()->createDocument());
    for (xercesc::DOMNode* node = getDocument()->getFirstChild(); node != nullptr; node = node->getNextSibling()) {
        copy->appendChild(copy->importNode(node, true));
    }
    return copy.release();
}

void XercesParser::error(unsigned int code, const XMLCh* domain, xercesc::XMLErrorReporter::ErrTypes type,
                         const XMLCh* text, const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line,
                         XMLFileLoc column) {
    if (type != xercesc::XMLErrorReporter::ErrType_Warning) {
        // The library has one message for two faults, so both are named.
        const bool isProlog = code == xercesc::XMLErrs::InvalidDocumentStructure;
        record(ErrorKind::Damaged, "not well-formed", line, column,
               toText(text) + (isProlog ? " (a document type declaration, or text before the first element)" : ""));
    }
    DOMLSParserImpl::error(code, domain, type, text, systemId, publicId, line, column);
    // Ends the parsing at the first fault. The library would go on after faults that it considers recoverable.
    if (!failure_.text.empty() && !getScanner()->getInException()) {
        throw static_cast<xercesc::XMLErrs::Codes>(code);
    }
}

void XercesParser::resetErrors() {
    failure_ = FirstFault();
    openNodes_ = 0;
}

xercesc::InputSource* XercesParser::resolveEntity(xercesc::XMLResourceIdentifier* resource) {
    refuse(ErrorKind::Damaged, "it refers to \"" + toText(resource->getSystemId()) + '"');
}

void XercesParser::XMLDecl(const XMLCh* version, const XMLCh* encoding, const XMLCh* standalone,
                           const XMLCh* actualEncoding) {
    if (encoding != nullptr && *encoding != u'\0' && !mayDeclare(encoding_, encoding)) {
        const bool isKnown = isOneOf(encoding, {u"UTF-8", u"UTF-16", u"UTF-16LE", u"UTF-16BE"});
        refuse(ErrorKind::Damaged, "its encoding is " + toText(encoding) + ", " +
                                       (isKnown ? std::string("but its bytes are not") : "neither UTF-8 nor UTF-16"));
    }
    // Later versions would be refused by the DOM, with an error that gives no reason.
    if (!xercesc::XMLString::equals(version, XMLUni::fgVersion1_0) &&
        !xercesc::XMLString::equals(version, XMLUni::fgVersion1_1)) {
        refuse(ErrorKind::Damaged, "its XML version is " + toText(version) + ", neither 1.0 nor 1.1");
    }
    building([&] { DOMLSParserImpl::XMLDecl(version, encoding, standalone, actualEncoding); });
}

void XercesParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, const XMLCh* prefix,
                                const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount,
                                bool isEmpty, bool isRoot) {
    openNodes_ += 1 + attributeCount;
    if (openNodes_ > Limits::kDomOpenNodes) {
        refuseMore(Limits::kDomOpenNodes, "nested elements and attributes of these");
    }
    countNodes(1 + attributeCount);
    countNames(declaration, attributes, attributeCount);
    building([&] {
        DOMLSParserImpl::startElement(declaration, urlId, prefix, attributes, attributeCount, isEmpty, isRoot);
    });
}

void XercesParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, bool isRoot,
                              const XMLCh* prefix) {
    openNodes_ -= 1 + fCurrentParent->getAttributes()->getLength();
    DOMLSParserImpl::endElement(declaration, urlId, isRoot, prefix);
}

// Counts a node only if the text has made one: most pieces of text are added to the node of the piece before them.
void XercesParser::docCharacters(const XMLCh* chars, XMLSize_t length, bool isCdata) {
    const xercesc::DOMNode* const before = fCurrentNode;
    DOMLSParserImpl::docCharacters(chars, length, isCdata);
    countNodes(fCurrentNode == before ? 0 : 1);
}

void XercesParser::docPI(const XMLCh* target, const XMLCh* data) {
    countNodes(1);
    building([&] { DOMLSParserImpl::docPI(target, data); });
}

void XercesParser::countNodes(std::size_t count) {
    bytes_ += count * Limits::kDomBytesPerNode;
    if (bytes_ > mostBytes_) {
        refuseMore(mostBytes_ >> 20, "MB of memory for a tree of its elements, attributes and texts");
    }
}

void XercesParser::countName(const XMLCh* name) {
    if (names_.insert(name).second && names_.size() > Limits::kDomNames) {
        refuseMore(Limits::kDomNames, "different names and namespaces");
    }
}

void XercesParser::countNames(const xercesc::XMLElementDecl& declaration,
                              const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount) {
    countName(declaration.getFullName());
    for (XMLSize_t i = 0; i < attributeCount; ++i) {
        const xercesc::XMLAttr& attribute = *attributes.elementAt(i);
        countName(attribute.getQName());
        if (xercesc::XMLString::startsWith(attribute.getQName(), u"xmlns")) {
            countName(attribute.getValue());
        }
    }
}

/// Runs a step of building the tree, and reports what the DOM refuses as a fault of the document. The scanner leaves
/// some faults to the DOM, such as the use of a prefix that XML 1.1 let a document undeclare.
template <class Build>
void XercesParser::building(Build build) {
    try {
        build();
    } catch (const xercesc::DOMException& error) {
        refuse(ErrorKind::Damaged, toText(error.getMessage()));
    }
}

void XercesParser::refuseMore(std::size_t most, const char* what) {
    refuse(ErrorKind::LimitExceeded, "more than " + std::to_string(most) + " " + what);
}

void XercesParser::refuse(ErrorKind kind, const std::string& reason) {
    const xercesc::Locator* const place = getScanner()->getLocator();
    record(kind, "refused", place->getLineNumber(), place->getColumnNumber(), reason);
    // The scanner takes an exception of this type as the end of parsing.
    // NOLINTNEXTLINE(misc-throw-by-value-catch-by-reference)
    throw xercesc::XMLErrs::InvalidDocumentStructure;
}

void XercesParser::record(ErrorKind kind, const char* finding, XMLFileLoc line, XMLFileLoc column,
                          const std::string& reason) {
    if (failure_.text.empty()) {
        failure_ = {kind, std::string(" is ") + finding + " at line " + std::to_string(line) + ", column " +
                              std::to_string(column) + ": " + reason};
    }
}

}  // namespace opc::model
