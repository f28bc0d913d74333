#pragma once

#include "kit/document/XmlTree.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// How a text looks, as its run and what stands around it say.
struct Look {
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    bool raised = false;
    bool lowered = false;
    bool fixed = false;      ///< in a style of code
    bool concealed = false;  ///< the flowbook asks not to show it
    bool inserted = false;   ///< by a recorded change
    bool deleted = false;    ///< likewise
    std::string link;        ///< the relationship that a hyperlink names
    std::string language;    ///< BCP 47; empty when there is none of its own

    bool operator==(const Look& other) const;
};

/// A piece of a paragraph.
struct Piece {
    enum class Kind {
        Text,     ///< tabs and line feeds included
        Remark,   ///< words about something that no page can show
        Formula,  ///< `node` is one
        Picture,  ///< `text` is its relationship, `words` describe it
        Blocks    ///< `node` holds paragraphs or tables
    };

    Kind kind;
    std::string text;
    Look look;
    const XmlNode* node = nullptr;  ///< for a text: the element that it is from
    std::string words;
};

/// What a paragraph, or another element that holds runs, shows, in its order; of alternate content one alternative.
std::vector<Piece> piecesOf(const XmlNode& paragraph);

/// Whether the piece stands in a line of text, and not apart.
inline bool isInline(const Piece& piece) {
    return piece.kind != Piece::Kind::Picture && piece.kind != Piece::Kind::Blocks;
}

/// Whether there is something to see in the piece.
bool isShown(const Piece& piece);

/// The alternative of alternate content that is shown; null when there is none.
const XmlNode* shownAlternative(const XmlNode& alternateContent);

/// Whether a child of alternate content is shown: of the alternatives one, and all that is no alternative.
bool isShownIn(const XmlNode& child, const XmlNode* shownAlternative);

/// Calls `work` with each child of alternate content that is shown.
template <class Work>
void forEachShown(const XmlNode& alternateContent, Work work) {
    const XmlNode* const shown = shownAlternative(alternateContent);
    for (const XmlNode& child : alternateContent.children) {
        if (isShownIn(child, shown)) {
            work(child);
        }
    }
}

/// Words about an element whose content lies elsewhere, such as a footnote; empty for other elements.
std::string remarkOn(const XmlNode& node);

/// Whether an element of this local name holds settings and nothing to show.
bool isSettings(std::string_view local);
inline bool isSettings(const XmlNode& node) { return isSettings(node.local); }

/// Whether it may stand in `lang`.
bool isLanguage(std::string_view tag);

}  // namespace flowbook::kit
