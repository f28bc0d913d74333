#pragma once

#include "kit/document/XmlTree.hpp"

#include <cstddef>
#include <optional>
#include <string>

namespace flowbook::kit {

/// A rich code document as a tree, read past the faults of its XML.
struct CodeTree {
    XmlTree tree;
    XmlEncoding encoding = XmlEncoding::Utf8;
    std::string fault;                ///< the first one; empty when the document is whole
    std::optional<std::size_t> rest;  ///< from which byte on nothing could be read; nothing when the tree holds all
};

/// @param where  opens the text of a fault. @throws std::bad_alloc only.
CodeTree readCodeTree(const fl::Bytes& stored, const std::string& where);

/// Well-formed XML of the same text: what is no markup becomes text, characters that XML does not permit are replaced
/// (U+FFFD), elements end where one around them ends, a paragraph ends where the next one begins, and settings where
/// something begins that can be shown. XML declaration, comments and end tags without an element are left out.
/// @returns nothing when text stands outside of the root element, or there is none.
std::optional<std::string> mendedXml(std::string_view utf8);

}  // namespace flowbook::kit
