#pragma once

#include "opc/xml/dom/XercesArena.hpp"

#include <cstddef>
#include <string>
#include <xercesc/parsers/DOMLSParserImpl.hpp>
#include <xercesc/util/SecurityManager.hpp>

namespace opc::model {

/// A DOM parser that reads nothing but the bytes it is given and stops at the first error. release()
/// gives it back to the pool, unless it was set up differently or grew large.
class XercesParser final : private InXercesArena, public xercesc::DOMLSParserImpl {
public:
    XercesParser();
    XercesParser(const XercesParser&) = delete;
    XercesParser& operator=(const XercesParser&) = delete;

    /// @param size  bytes of the input.
    /// @param name  what messages call the document; may be empty.
    /// @throws InvalidXMLDocument.
    xercesc::DOMDocument* read(const xercesc::InputSource& source, std::size_t size, const std::u16string& name,
                               bool adopt);

    /// What everything of one read is to be made in.
    xercesc::MemoryManager& memory() noexcept { return arena_; }

    void release() override;
    void setParameter(const XMLCh* name, const void* value) override;
    void setParameter(const XMLCh* name, bool value) override;

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
    void endDocument() override;

private:
    /// A copy of the document that does not live in the arena.
    xercesc::DOMDocument* copyDocument();
    [[noreturn]] void refuse(const std::string& reason);
    void record(const char* finding, XMLFileLoc line, XMLFileLoc column, const std::string& reason);
    bool isReusable() const;

    xercesc::SecurityManager securityManager_;
    std::string failure_;           ///< of the first error, without the name of the document
    std::size_t openNodes_ = 0;     ///< the open elements and their attributes
    std::size_t bytesRead_ = 0;     ///< in its whole life
    bool isEncodingGiven_ = false;  ///< so that the one declared does not count
    bool isAsConfigured_ = false;
};

}  // namespace opc::model
