#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/CodeListing.hpp"
#include "kit/page/Definitions.hpp"
#include "kit/page/Figures.hpp"
#include "kit/page/Headings.hpp"
#include "kit/page/Inline.hpp"
#include "kit/page/Links.hpp"
#include "kit/page/Lists.hpp"
#include "kit/page/TableGrid.hpp"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// Writes a rich code document: paragraphs, lists, quotes, tables, pictures and code in their order. All text of the
/// document is written, or words that name what is left out stand in its place.
class Blocks {
public:
    /// @param links, definitions  of the document; all of them must outlive this object.
    Blocks(Markup& out, Figures& figures, Links& links, const Definitions& definitions, Headings& headings)
        : out_(&out),
          figures_(&figures),
          links_(&links),
          headings_(&headings),
          definitions_(&definitions),
          inline_(out, links),
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
        OpenLists lists;
        bool isInList = false;
        bool isInQuote = false;
        bool isBody = false;  ///< whether code paragraphs here hold the code
    };

    /// What a paragraph is in its list, if it is in one.
    struct Item {
        std::optional<ListItem> kind;
        ItemCounts::Counted counted;
    };

    void writeChildren(const XmlNode& node, Place& place);
    std::size_t writeBlock(const std::vector<XmlNode>& siblings, std::size_t at, Place& place);
    void writeLoose(const XmlNode& node, Place& place);
    void leave(Place& place, bool isStillInList = false, bool isStillInQuote = false);

    bool writeCode(const XmlNode& paragraph, Place& place);
    Markup beside(const std::vector<Piece>& pieces);
    void writeBesideCode(const std::vector<Piece>& pieces);
    Item countItem(const XmlNode& paragraph);
    std::string classOf(const XmlNode& paragraph) const;
    void writeParagraph(const XmlNode& paragraph, const XmlNode* caption, Place& place);
    void writeBlank(const std::vector<Piece>& pieces, Place& place);
    void writePieces(const std::vector<Piece>& pieces, const XmlNode* caption, std::string_view kind);
    void writeApart(const Piece& piece, const Markup* caption);
    void writeApart(const std::vector<Piece>& pieces);
    void writeHeading(int style, const Item& item, const std::vector<Piece>& pieces);
    std::vector<Piece> piecesIn(const XmlNode& paragraph) const;
    std::vector<Piece> plainPiecesIn(const XmlNode& paragraph) const;
    Markup inlineOf(const std::vector<Piece>& pieces);
    Markup placesIn(const std::vector<Piece>& pieces);
    void writeLines(const std::vector<Piece>& pieces, const std::function<void(const std::vector<Piece>&)>& line,
                    const std::function<void(const Piece&)>& apart);

    void writeTable(const XmlNode& table, const XmlNode* caption);
    void writeTableCaption(const XmlNode& table, const XmlNode* caption);
    void writeCell(const TableGrid::Cell& cell, bool isHead);

    Markup* out_;
    Figures* figures_;
    Links* links_;
    Headings* headings_;
    const Definitions* definitions_;
    ItemCounts counts_;
    InlineWriter inline_;
    CodeListing listing_;
    const XmlNode* lastCode_ = nullptr;
    std::size_t tableCount_ = 0;
    bool hasTextBesideCode_ = false;
};

}  // namespace flowbook::kit
