#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/CodeListing.hpp"
#include "kit/page/Figures.hpp"
#include "kit/page/Headings.hpp"
#include "kit/page/Inline.hpp"
#include "kit/page/Lists.hpp"
#include "kit/page/TableGrid.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// Writes a rich code document: paragraphs, lists, quotes, tables, pictures and code in their order. All text of the
/// document is written, or words that name what is left out stand in its place.
class Blocks {
public:
    /// @param numbering  the root of the numbering part; null when there is none.
    Blocks(Markup& out, Figures& figures, const XmlNode* numbering, Headings& headings)
        : out_(&out),
          figures_(&figures),
          headings_(&headings),
          numbering_(numbering),
          inline_(out, figures),
          listing_(out) {}

    /// Writes a document whole. @param root  may be null.
    void write(const XmlNode* root);

    /// Writes what an element holds.
    void writeInside(const XmlNode& node);

    std::size_t lineCount() const noexcept { return listing_.lineCount(); }

    /// Whether text stands in code paragraphs that is not code for readers.
    bool hasTextBesideCode() const noexcept { return hasTextBesideCode_; }

private:
    /// What is open in one place of the page: the body, a cell, a box.
    struct Place {
        explicit Place(ItemCounts& counts) : lists(counts) {}

        OpenLists lists;
        bool isInList = false;
        bool isInQuote = false;
        bool isBody = false;  ///< whether code paragraphs here hold the code
    };

    void writeChildren(const XmlNode& node, Place& place);
    std::size_t writeBlock(const std::vector<XmlNode>& siblings, std::size_t at, Place& place);
    void writeLoose(const XmlNode& node, Place& place);
    void leave(Place& place, bool isStillInList = false, bool isStillInQuote = false);

    bool writeCode(const XmlNode& paragraph, Place& place);
    void writeBesideCode(const std::vector<Piece>& pieces);
    void writeParagraph(const XmlNode& paragraph, const XmlNode* caption, Place& place);
    void writeBlank(const std::vector<Piece>& pieces, Place& place);
    void writePieces(const std::vector<Piece>& pieces, const XmlNode* caption, std::string_view kind);
    void writeApart(const Piece& piece, const Markup* caption);
    void writeHeading(int style, const std::vector<Piece>& pieces);
    Markup inlineOf(const std::vector<Piece>& pieces);

    void writeTable(const XmlNode& table, const XmlNode* caption);
    void writeTableCaption(const XmlNode& table, const XmlNode* caption);
    void writeCell(const TableGrid::Cell& cell, bool isHead);

    Markup* out_;
    Figures* figures_;
    Headings* headings_;
    Numbering numbering_;
    ItemCounts counts_;
    InlineWriter inline_;
    CodeListing listing_;
    const XmlNode* lastCode_ = nullptr;
    std::size_t tableCount_ = 0;
    bool hasTextBesideCode_ = false;
};

/// The text that counts as code in a paragraph that stands directly in the body: the first text of the first run, where
/// the style is "code", as the library reads it. Null for other paragraphs.
const XmlNode* codeIn(const XmlNode& paragraph);

/// The level that a paragraph's style, or else its outline level, gives it as a heading, from 1; 0 for no heading.
int headingStyleOf(const XmlNode& paragraph);

/// Whether there are paragraphs or tables below an element.
bool holdsBlocks(const XmlNode& node);

/// What the styles of the headings tell (see Headings), in the order of the document.
std::vector<int> headingStylesIn(const XmlNode& node);

}  // namespace flowbook::kit
