#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Definitions.hpp"
#include "kit/page/Pieces.hpp"

#include <vector>

namespace flowbook::kit {

/// The text that counts as code in a paragraph that stands directly in the body: the first text of the first run, where
/// the style is "code", as the library reads it. Null for other paragraphs.
const XmlNode* codeIn(const XmlNode& paragraph);

/// Whether the element is a paragraph or a table, or holds those of a box.
bool isBlock(const XmlNode& node);

/// Whether there are paragraphs or tables below an element.
bool holdsBlocks(const XmlNode& node);

/// Whether some piece is text, or the like, that stands in a line and is seen.
bool hasInlineText(const std::vector<Piece>& pieces);

/// Whether the element is a paragraph in a style of captions that holds nothing but text, and is no item of a list.
bool isCaption(const XmlNode& node, const Definitions& definitions);

/// The body of a document; null when there is none. @param root  may be null.
const XmlNode* bodyOf(const XmlNode* root);

/// The levels that the styles of the headings have (see Headings), in the order of the document.
std::vector<int> headingStylesIn(const XmlNode& root, const Styles& styles);

/// Whether there are headings in an element that is not the body.
bool hasHeadings(const XmlNode& node, const Styles& styles);

}  // namespace flowbook::kit
