#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Look.hpp"
#include "kit/page/Styles.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// A piece of a paragraph.
struct Piece {
    enum class Kind {
        Text,      ///< tabs and line feeds included
        Remark,    ///< words about something that is not shown here, which `node` refers to, if it refers to something
        Formula,   ///< `node` is one
        Bookmark,  ///< a place that `words` name, with nothing to see
        Picture,   ///< `text` is its relationship, `words` describe it
        Blocks     ///< `node` holds paragraphs or tables
    };

    Kind kind;
    std::string text;
    Look look;
    const XmlNode* node = nullptr;  ///< for a text: the element that it is from
    std::string words;
};

/// What a paragraph, or another element that holds runs, shows, in its order; of alternate content one alternative.
/// @param styles  of runs; null to go by their well-known names alone. @param around  how a text without formatting
/// looks.
std::vector<Piece> piecesOf(const XmlNode& paragraph, const Styles* styles = nullptr, const Look& around = {});

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

/// What an element is called whose content lies elsewhere, such as "footnote 3"; empty for other elements.
std::string nameOfNote(const XmlNode& node);

/// Words about such an element; empty for others.
std::string remarkOn(const XmlNode& node);

/// Whether an element of this local name holds settings and nothing to show.
bool isSettings(std::string_view local);
inline bool isSettings(const XmlNode& node) { return isSettings(node.local); }

}  // namespace flowbook::kit
