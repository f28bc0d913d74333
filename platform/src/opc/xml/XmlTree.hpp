#pragma once

#include "opc/xml/PackageXmlHandler.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <string>
#include <utility>
#include <vector>

namespace opc::pxservices::detail {

/// A namespace declaration: prefix and URI.
using XmlBinding = std::pair<std::string, std::string>;
using XmlBindings = std::vector<XmlBinding>;

/// An element that is kept in memory, or a run of text between elements.
struct XmlNode {
    struct Attribute {
        std::string prefix;
        std::string ns;
        std::string local;
        std::string value;
    };

    std::string ns;
    std::string local;  ///< empty for text
    std::string prefix;
    std::string text;
    std::vector<Attribute> attributes;
    XmlBindings bindings;
    std::vector<XmlNode> content;
    std::size_t line = 0;

    bool is(std::string_view otherNs, std::string_view otherLocal) const {
        return local == otherLocal && ns == otherNs;
    }
    bool isText() const { return local.empty(); }

    /// Null when there is none.
    const Attribute* attribute(std::string_view attributeNs, std::string_view attributeLocal) const;
};

/// Writes an element with its namespace declarations, so that it means the same wherever it stands.
void writeNode(const XmlNode& node, model::detail::XmlWriter& xml);

/// Keeps the elements under a document's root. Each has the declarations that are in force on it, but for
/// those that the document is going to be written with anyway.
class XmlTreeHandler : public model::detail::PackageXmlHandler {
public:
    /// @param ownBindings  must outlive the handler.
    XmlTreeHandler(std::string_view rootNs, std::string_view rootName, const XmlBindings& ownBindings);

    bool wantsLines() const override { return true; }
    void startElement(const model::detail::XmlElement& element) override;
    void endElement() override;
    void characters(std::string_view text) override;
    void startNamespace(std::string_view prefix, std::string_view uri) override;
    void endNamespace() override;

    std::vector<XmlNode> takeElements() { return std::move(elements_); }

private:
    XmlBindings bindingsInForce() const;

    std::string_view rootNs_;
    std::string_view rootName_;
    const XmlBindings& ownBindings_;
    XmlBindings inForce_;
    std::size_t declaredBefore_ = 0;  ///< how many of them are not on the element that begins next
    std::vector<XmlNode> elements_;
    std::vector<XmlNode*> open_;  ///< from below the root down
    std::size_t elementCount_ = 0;
    bool inRoot_ = false;
};

}  // namespace opc::pxservices::detail
