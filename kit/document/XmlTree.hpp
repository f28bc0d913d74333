#pragma once

#include "fl/Bytes.hpp"
#include "kit/document/XmlReader.hpp"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// An element, or a text between tags, which has no name.
struct XmlNode {
    struct Attribute {
        std::string_view ns;
        std::string_view local;
        std::string value;
    };

    std::string_view ns;
    std::string_view local;
    std::vector<Attribute> attributes;
    std::vector<XmlNode> children;
    std::string text;  ///< of a text; UTF-8

    bool isText() const noexcept { return local.empty(); }
    bool is(std::string_view wantedNs, std::string_view wantedLocal) const {
        return local == wantedLocal && ns == wantedNs;
    }

    /// The first child element of this local name, in any namespace; null when there is none.
    const XmlNode* child(std::string_view wantedLocal) const;
    const XmlNode* child(std::string_view wantedNs, std::string_view wantedLocal) const;

    /// The value of the first attribute of this local name, in any namespace; empty when there is none.
    std::string_view attribute(std::string_view wantedLocal) const;
    std::string_view attribute(std::string_view wantedNs, std::string_view wantedLocal) const;

    /// The value of the child's attribute "val", as most properties of word processing have it.
    std::string_view valueOf(std::string_view childLocal) const;

    /// All text inside, in document order.
    std::string allText() const;
};

/// A document in memory. Where it is malformed, the tree holds what stands before the fault.
struct XmlTree {
    std::set<std::string, std::less<>> names;  ///< what the names in the nodes point into
    XmlNode document;                          ///< has the root element as its child
    std::string fault;                         ///< why the tree ends before the document does; empty when it is whole
    bool isOverLimit = false;                  ///< whether that is a limit on what is read
    std::size_t end = 0;                       ///< the byte behind the last tag that was read

    XmlTree() = default;
    XmlTree(XmlTree&&) = default;
    XmlTree& operator=(XmlTree&&) = default;
    XmlTree(const XmlTree&) = delete;
    XmlTree& operator=(const XmlTree&) = delete;
    ~XmlTree() = default;

    /// The root element; null when there is none.
    const XmlNode* root() const { return document.children.empty() ? nullptr : &document.children.front(); }
};

/// What the trees of documents are limited to.
inline constexpr std::size_t kMostTreeNodes = std::size_t{4} << 20;

/// A tree of more elements, attributes and texts than `most` ends with a fault.
/// @param where  opens the text of a fault.
/// @throws std::bad_alloc only.
XmlTree readXmlTree(const fl::Bytes& document, const std::string& where, XmlEncoding encoding,
                    std::size_t most = kMostTreeNodes);

}  // namespace flowbook::kit
