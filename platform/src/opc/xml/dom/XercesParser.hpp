#pragma once

#include "opc/Exception.hpp"
#include "opc/Limits.hpp"
#include "opc/xml/dom/DocumentText.hpp"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <xercesc/parsers/DOMLSParserImpl.hpp>
#include <xercesc/util/SecurityManager.hpp>

namespace opc::model {

/// A DOM parser that reads nothing but the bytes it is given, stops at the first error, and carries nothing over from
/// one document to the next. Its limits are those of opc::Limits.
class XercesParser final : public xercesc::DOMLSParserImpl {
public:
    explicit XercesParser(std::uint64_t mostBytes = Limits::kDomBytes);
    XercesParser(const XercesParser&) = delete;
    XercesParser& operator=(const XercesParser&) = delete;

    /// @param name  what messages call the document; may be empty.
    /// @throws InvalidXMLDocument.
    xercesc::DOMDocument* read(const std::u16string& text, SourceEncoding encoding, const std::u16string& name,
                               bool adopt);

    /// Returns how messages name a document.
    static std::string documentNamed(const std::u16string& name);

    void error(unsigned int code, const XMLCh* domain, xercesc::XMLErrorReporter::ErrTypes type, const XMLCh* text,
               const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line, XMLFileLoc column) override;
    void resetErrors() override;
    xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resource) override;
    void XMLDecl(const XMLCh* version, const XMLCh* encoding, const XMLCh* standalone,
                 const XMLCh* actualEncoding) override;
    void startElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, const XMLCh* prefix,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount, bool isEmpty,
                      bool isRoot) override;
    void endElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, bool isRoot,
                    const XMLCh* prefix) override;
    void docCharacters(const XMLCh* chars, XMLSize_t length, bool isCdata) override;
    void docPI(const XMLCh* target, const XMLCh* data) override;

private:
    struct FirstFault {
        ErrorKind kind = ErrorKind::Damaged;
        std::string text;  ///< without the name of the document; empty when there is no failure
    };

    void renewScanner();
    xercesc::DOMDocument* copyDocument();
    void countNodes(std::size_t count);
    void countName(const XMLCh* name);
    void countNames(const xercesc::XMLElementDecl& declaration,
                    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount);
    template <class Build>
    void building(Build build);
    [[noreturn]] void refuseMore(std::size_t most, const char* what);
    [[noreturn]] void refuse(ErrorKind kind, const std::string& reason);
    void record(ErrorKind kind, const char* finding, XMLFileLoc line, XMLFileLoc column, const std::string& reason);

    xercesc::SecurityManager securityManager_;
    FirstFault failure_;                   ///< of the document
    std::size_t openNodes_ = 0;            ///< the open elements and their attributes
    std::uint64_t mostBytes_, bytes_ = 0;  ///< of memory, as estimated
    std::set<std::u16string> names_;       ///< ordered, so that no document can make names collide in it
    SourceEncoding encoding_ = SourceEncoding::Text;
};

}  // namespace opc::model
