#include "kit/markdown/MarkdownWriter.hpp"

#include "kit/document/Characters.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/document/XmlTree.hpp"
#include "kit/markdown/MarkdownLines.hpp"
#include "kit/markdown/PipeTable.hpp"
#include "kit/page/BlockKinds.hpp"
#include "kit/page/Definitions.hpp"
#include "kit/page/TableGrid.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <vector>

namespace flowbook::kit {

using opc::model::Part;

namespace {

constexpr int kDeepestHeading = 6;
constexpr std::size_t kTwipsOfLevel = 720;
constexpr char kQuoteMark[] = "> ";

/// How many levels of lists a block is indented by.
/// @param settings  the element with its settings. @param indent, attribute  what the indentation is measured by.
std::size_t indentedLevels(const XmlNode& block, const char* settings, const char* indent, const char* attribute) {
    const XmlNode* const properties = block.child(settings);
    const XmlNode* const element = properties == nullptr ? nullptr : properties->child(indent);
    std::size_t twips = 0;
    if (element != nullptr) {
        const std::string_view text = element->attribute(attribute);
        std::from_chars(text.data(), text.data() + text.size(), twips);
    }
    return twips / kTwipsOfLevel;
}

Alignment alignmentOf(std::string_view justification) {
    if (justification == "center") {
        return Alignment::Center;
    }
    if (justification == "right" || justification == "end") {
        return Alignment::Right;
    }
    return justification == "left" || justification == "start" ? Alignment::Left : Alignment::None;
}

/// The text of each line with `mark` before it.
std::string withMark(std::string text, const std::string& mark, bool isBeforeEmpty) {
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
        text.insert(at, isBeforeEmpty || text[at] != '\n' ? mark : "");
    }
    return text;
}

bool isInLine(const Piece& piece) { return piece.kind != Piece::Kind::Blocks && isShown(piece); }

/// A list that is open in the text.
struct OpenList {
    std::string id;
    bool isOrdered;
    char mark;           ///< behind the number, or the bullet
    std::size_t indent;  ///< of what stands in its items
};

class BlockWriter {
public:
    BlockWriter(const MarkdownTargets& targets, const Definitions& definitions)
        : targets_(targets), definitions_(definitions) {}

    void writeBody(const XmlNode& body) {
        for (const XmlNode& node : body.children) {
            const XmlNode* const code = node.local == "p" ? codeIn(node) : nullptr;
            code != nullptr ? addCode(node, *code) : writeBlock(node);
        }
        endCode();
    }

    std::string text() && { return std::move(text_); }

private:
    /// Code paragraphs that follow each other are one block. One that is indented belongs to the item before it.
    void addCode(const XmlNode& paragraph, const XmlNode& code) {
        const std::size_t depth = indentedLevels(paragraph, "pPr", "ind", "left");
        if (code_ && depth != codeDepth_) {
            endCode();
        }
        const std::vector<Piece> pieces = piecesOf(paragraph);
        const auto at =
            std::find_if(pieces.begin(), pieces.end(), [&](const Piece& each) { return each.node == &code; });
        labelOf(paragraph);
        writeBesideCode({pieces.begin(), at});
        codeDepth_ = depth;
        code_ = (code_ ? *code_ + "\n" : "") + code.allText();
        writeBesideCode({at == pieces.end() ? at : at + 1, pieces.end()});
    }

    void writeBesideCode(const std::vector<Piece>& pieces) {
        if (std::any_of(pieces.begin(), pieces.end(), isShown)) {
            endCode();
            writePieces(pieces, "", false);
            writeBoxes(pieces);
        }
    }

    void writeBoxes(const std::vector<Piece>& pieces) {
        for (const Piece& piece : pieces) {
            if (piece.kind == Piece::Kind::Blocks) {
                writeBlock(*piece.node);
            }
        }
    }

    void endCode() {
        if (!code_) {
            return;
        }
        const std::string fence = backticksFor(*code_, 3);
        writeInLists(fence + "\n" + *code_ + "\n" + fence + "\n", codeDepth_);
        code_.reset();
    }

    /// Writes a block that belongs to the last item of so many lists, if they are open.
    void writeInLists(const std::string& text, std::size_t depth) {
        if (depth == 0 || open_.size() < depth) {
            leaveLists();
        }
        open_.resize(std::min(open_.size(), depth));
        isInItems_ = false;
        open_.empty() ? writeApart(text) : writeInItem(withMark(text, std::string(open_.back().indent, ' '), false));
    }

    void writeBlock(const XmlNode& node) {
        if (node.isText() || isSettings(node)) {
            return;
        }
        endCode();
        if (node.local == "p") {
            writeParagraph(node);
        } else if (node.local == "tbl") {
            writeTable(node);
        } else if (node.local == "AlternateContent") {
            const XmlNode* const shown = shownAlternative(node);
            if (shown != nullptr) {
                writeInside(*shown);
            }
        } else if (holdsBlocks(node)) {
            writeInside(node);
        } else {
            XmlNode parent;
            parent.children.push_back(node);
            writePieces(piecesOf(parent), "", false);
        }
    }

    void writeInside(const XmlNode& node) {
        for (const XmlNode& child : node.children) {
            writeBlock(child);
        }
    }

    void writeParagraph(const XmlNode& paragraph) {
        const std::vector<Piece> pieces = piecesOf(paragraph);
        const XmlNode* const properties = paragraph.child("pPr");
        const std::string style(properties == nullptr ? "" : properties->valueOf("pStyle"));
        const int heading = std::min(definitions_.styles().headingOf(paragraph), kDeepestHeading);
        // An item counts in its list wherever it stands, and even if there is nothing in it.
        const std::optional<ListItem> item = definitions_.numbering().itemOf(paragraph);
        const ItemCounts::Counted counted = item ? counts_.next(*item) : ItemCounts::Counted{};
        const bool isItem = item && heading == 0;
        if (std::none_of(pieces.begin(), pieces.end(), isShown) && !isItem) {
            if (properties != nullptr && properties->child("pBdr") != nullptr) {
                leaveLists();
                writeApart("---\n");
            }
            return;
        }
        if (heading != 0) {
            writeHeading(pieces, heading, item && item->levels != nullptr ? counted.label : "");
        } else if (isItem) {
            writeItem(*item, counted.number, pieces);
        } else if (startsWith(style, "ListContinue")) {
            continueItem(style, pieces);
        } else {
            leaveLists();
            writePieces(pieces, definitions_.styles().isCalled(paragraph, "quote") ? kQuoteMark : "", false);
        }
        writeBoxes(pieces);
    }

    /// The label is the number that the document gives a heading, as Markdown has no numbered headings.
    void writeHeading(const std::vector<Piece>& pieces, int level, const std::string& label) {
        leaveLists();
        writePieces(pieces,
                    std::string(static_cast<std::size_t>(level), '#') + " " +
                        (isBlankText(label) ? "" : withEscapes(label, true) + " "),
                    true);
    }

    /// Opens the list of an item at this level. It ends the lists that are deeper, and one of another kind or numbering
    /// in its place. @returns whether it was not open yet.
    bool openList(const ListItem& item, std::size_t level) {
        char mark = item.isOrdered ? '.' : '-';
        open_.resize(std::min(open_.size(), level + 1));
        if (open_.size() == level + 1 && (open_.back().id != item.list || open_.back().isOrdered != item.isOrdered)) {
            // A list of the same kind right behind another takes the other mark, or they would be one.
            if (open_.back().isOrdered == item.isOrdered) {
                mark = open_.back().mark == '.' ? ')' : open_.back().mark == '-' ? '*' : mark;
            }
            open_.pop_back();
        }
        const bool isNew = open_.size() == level;
        if (isNew) {
            open_.push_back({item.list, item.isOrdered, mark, 0});
        }
        return isNew;
    }

    void writeItem(const ListItem& item, unsigned number, const std::vector<Piece>& pieces) {
        const std::size_t level = std::min(item.level, open_.size());
        const bool isNew = openList(item, level);
        const std::size_t outer = level == 0 ? 0 : open_[level - 1].indent;
        OpenList& list = open_.back();
        const std::string label = (item.isOrdered ? std::to_string(number) : "") + std::string{list.mark} + " ";
        list.indent = outer + label.size();
        const bool isEmpty = std::none_of(pieces.begin(), pieces.end(), isInLine);
        const std::string text =
            isEmpty ? std::string(outer, ' ') + label.substr(0, label.size() - 1) + "\n"
                    : lines(pieces, false, std::string(outer, ' ') + label, std::string(list.indent, ' '));
        // Right below a line of text, only a list that begins with 1, and with a text, is one.
        const bool isParted = !isInItems_ || (isNew && level != 0 && (isEmpty || (item.isOrdered && number != 1)));
        if (isParted) {
            writeInItem(text);
        } else {
            text_ += text;
        }
        isInItems_ = true;
        isItemEmpty_ = isEmpty;
    }

    void continueItem(const std::string& style, const std::vector<Piece>& pieces) {
        const char last = style.back();
        const std::size_t level = last >= '2' && last <= '9' ? static_cast<std::size_t>(last - '1') : 0;
        if (open_.size() <= level) {
            leaveLists();
            writePieces(pieces, "", false);
            return;
        }
        open_.resize(level + 1);
        const std::string indent(open_.back().indent, ' ');
        writeInItem(lines(pieces, false, indent, indent));
        isInItems_ = false;
    }

    void writePieces(const std::vector<Piece>& pieces, const std::string& mark, bool isHeading) {
        if (std::none_of(pieces.begin(), pieces.end(), isInLine)) {
            return;
        }
        const std::string text = lines(pieces, isHeading, mark, isHeading ? "" : mark);
        mark == kQuoteMark ? writeQuoted(text) : writeApart(text);
    }

    void writeQuoted(const std::string& text) {
        if (isQuoteOpen_) {
            text_ += ">\n" + text;
        } else {
            writeApart(text);
        }
        isQuoteOpen_ = true;
    }

    std::string lines(const std::vector<Piece>& pieces, bool isHeading, const std::string& first,
                      const std::string& next) const {
        std::vector<std::string> all =
            markdownLines(pieces, targets_, isHeading ? MarkdownLine::Heading : MarkdownLine::Paragraph);
        for (; all.size() > 1 && all.back().empty(); all.pop_back()) {
            // A backslash breaks a line only where another one follows.
            all[all.size() - 2] += "<br>";
        }
        std::string text;
        for (std::size_t i = 0; i < all.size(); ++i) {
            text += (i == 0 ? first : next) + guarded(all[i]) + (i + 1 < all.size() ? "\\\n" : "\n");
        }
        return text;
    }

    /// What is the same for all cells that have a paragraph: how each column is aligned, and whether they are quotes.
    struct TableLook {
        std::map<std::size_t, Alignment> alignments;
        bool isQuote = true;
    };

    TableLook lookOf(const TableGrid& grid) const {
        TableLook look;
        for (const TableGrid::Row& row : grid.rows()) {
            for (const TableGrid::Cell& cell : row.cells) {
                const XmlNode* const paragraph = cell.node == nullptr ? nullptr : cell.node->child("p");
                const XmlNode* const properties = paragraph == nullptr ? nullptr : paragraph->child("pPr");
                look.isQuote =
                    look.isQuote && paragraph != nullptr && definitions_.styles().isCalled(*paragraph, "quote");
                const Alignment own = properties == nullptr ? Alignment::None : alignmentOf(properties->valueOf("jc"));
                const auto [known, isNew] = look.alignments.emplace(cell.column, own);
                known->second = isNew || known->second == own ? own : Alignment::None;
            }
        }
        return look;
    }

    /// The cells of a row as Markdown, at their places; at least so many.
    std::vector<std::string> cellsOf(const TableGrid::Row& row, const std::map<std::size_t, std::size_t>& places,
                                     std::size_t least) {
        std::vector<std::string> cells(least);
        for (const TableGrid::Cell& cell : row.cells) {
            const std::size_t place = places.at(cell.column);
            cells.resize(std::max(cells.size(), place + 1));
            cells[place] = cell.node == nullptr ? "" : wordsOf(*cell.node);
        }
        return cells;
    }

    /// A row is a line with as many cells as the table has columns: a merged one stands in the first of its places.
    void writeTable(const XmlNode& table) {
        const TableGrid grid(table);
        const TableLook look = lookOf(grid);
        std::vector<Alignment> columns;
        std::map<std::size_t, std::size_t> places;
        for (const auto& [column, alignment] : look.alignments) {
            places[column] = columns.size();
            columns.push_back(alignment);
        }
        std::string lines;
        for (const TableGrid::Row& row : grid.rows()) {
            // Only the first row has to have all cells; the others end with their last one.
            lines += lines.empty() ? pipeRow(cellsOf(row, places, places.size())) + pipeRule(columns)
                                   : pipeRow(cellsOf(row, places, 1));
        }
        const std::size_t depth = indentedLevels(table, "tblPr", "tblInd", "w");
        if (!lines.empty() && look.isQuote && depth == 0) {
            leaveLists();
            writeQuoted(withMark(lines, kQuoteMark, true));
        } else if (!lines.empty()) {
            writeInLists(lines, depth);
        }
        for (const XmlNode* loose : grid.loose()) {
            writeBlock(*loose);
        }
    }

    /// The paragraphs of a cell on one line, with breaks between them, and the labels of items as words.
    std::string wordsOf(const XmlNode& cell) {
        std::string all;
        const auto add = [&all](const std::string& more) { all += (all.empty() || more.empty() ? "" : "<br>") + more; };
        const std::vector<Piece> pieces = piecesOf(cell);
        for (auto at = pieces.begin(); at != pieces.end();) {
            const auto end =
                std::find_if(at, pieces.end(), [](auto& each) { return each.kind == Piece::Kind::Blocks; });
            add(withBlanks(markdownLines({at, end}, targets_, MarkdownLine::Cell).front()));
            at = end;
            for (; at != pieces.end() && at->kind == Piece::Kind::Blocks; ++at) {
                const std::string label = labelOf(*at->node);
                const std::string words = wordsOf(*at->node);
                add(label.empty() ? words : withEscapes(label, false) + " " + words);
            }
        }
        return all;
    }

    /// Counts a paragraph in its list, if it is in one. @returns the label that the list gives it.
    std::string labelOf(const XmlNode& paragraph) {
        const std::optional<ListItem> item = definitions_.numbering().itemOf(paragraph);
        return item ? counts_.next(*item).label : "";
    }

    void leaveLists() {
        open_.clear();
        isInItems_ = false;
        isItemEmpty_ = false;
    }

    /// Behind a blank line an item that has nothing yet would be at its end.
    void writeInItem(const std::string& text) {
        if (isItemEmpty_) {
            text_ += text;
        } else {
            writeApart(text);
        }
        isItemEmpty_ = false;
    }

    void writeApart(const std::string& text) {
        isItemEmpty_ = false;
        isQuoteOpen_ = false;
        text_ += (text_.empty() ? "" : "\n") + text;
    }

    const MarkdownTargets& targets_;
    const Definitions& definitions_;
    std::string text_;
    std::optional<std::string> code_;  ///< the block of code that is being gathered
    std::size_t codeDepth_ = 0;        ///< how many lists it belongs to
    std::vector<OpenList> open_;
    ItemCounts counts_;
    bool isInItems_ = false;    ///< whether an item was written last
    bool isItemEmpty_ = false;  ///< whether that has no text
    bool isQuoteOpen_ = false;  ///< whether a quote was
};

}  // namespace

std::string writeMarkdown(const Document& document) {
    const std::optional<Part> part = document.codePart();
    if (!part || formOf(*part) == CodeForm::Encrypted) {
        return {};
    }
    const fl::Bytes stored = contentOf(*part);
    const XmlTree tree = readXmlTree(stored, document.where(*part), encodingOf(stored));
    if (!tree.fault.empty()) {
        throw opc::Exception(tree.isOverLimit ? opc::ErrorKind::LimitExceeded : opc::ErrorKind::Damaged, tree.fault);
    }
    const MarkdownTargets targets(document);
    const Definitions definitions(document);
    BlockWriter writer(targets, definitions);
    const XmlNode* const body = tree.root()->child(kWordNamespace, "body");
    if (body != nullptr) {
        writer.writeBody(*body);
    }
    return std::move(writer).text();
}

}  // namespace flowbook::kit
