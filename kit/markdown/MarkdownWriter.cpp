#include "kit/markdown/MarkdownWriter.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/document/XmlTree.hpp"
#include "kit/markdown/PipeTable.hpp"
#include "kit/page/BlockKinds.hpp"
#include "kit/page/Definitions.hpp"
#include "kit/page/TableGrid.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <map>
#include <optional>
#include <vector>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::Relationship;

namespace {

constexpr int kDeepestHeading = 6;
constexpr std::size_t kTwipsOfLevel = 720;

bool isAsciiWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 && (c & 0x80) == 0; }

/// Whether `*` beside the character can begin or end emphasis whatever stands on its other side: letters and digits.
/// Not all of them are recognised; where none is, an HTML element serves.
bool isLetterOrDigit(char32_t c) {
    return c < 0x80 ? isAsciiWord(static_cast<char>(c))
                    : (c >= 0xC0 && c <= 0x24F) || (c >= 0x400 && c <= 0x481) || (c >= 0x4E00 && c <= 0x9FFF);
}

bool isBetweenLetters(std::string_view text) {
    const std::u16string wide = fl::i18n::to_ustring(std::string(text));
    return !wide.empty() && isLetterOrDigit(wide.front()) && isLetterOrDigit(wide.back());
}

/// The text with a backslash before each character that would be a mark within a line.
std::string withEscapes(std::string_view text, bool isHeading) {
    constexpr std::string_view kMarks = "\\`*[]<";
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        const bool isInWord = i != 0 && isAsciiWord(text[i - 1]) && isAsciiWord(next);
        const bool isMark = kMarks.find(c) != std::string_view::npos || (c == '_' && !isInWord) ||
                            (c == '&' && (isAsciiWord(next) || next == '#')) || (c == '!' && next == '\0') ||
                            (c == '#' && isHeading);
        if (c == '\t') {
            result += "&#9;";
        } else if (c == '\r') {
            result += "&#13;";
        } else {
            result += isMark ? std::string{'\\', c} : std::string{c};
        }
    }
    return result;
}

/// A line with the blanks kept that it has at its ends.
std::string withBlanks(std::string line) {
    if (!line.empty() && line.back() == ' ') {
        line.replace(line.size() - 1, 1, "&#32;");
    }
    return !line.empty() && line.front() == ' ' ? line.replace(0, 1, "&#32;") : line;
}

/// A line of a paragraph with what would be the mark of a block at its start escaped, and blanks kept at both ends.
std::string guarded(std::string line) {
    line = withBlanks(std::move(line));
    const std::size_t digits = std::min(line.find_first_not_of("0123456789"), line.size());
    const auto isBlankAt = [&](std::size_t at) { return at == line.size() || line[at] == ' ' || line[at] == '&'; };
    if (digits != 0 && digits < line.size() && (line[digits] == '.' || line[digits] == ')') && isBlankAt(digits + 1)) {
        return line.insert(digits, 1, '\\');
    }
    const char first = line.empty() ? '\0' : line.front();
    const bool isMark = first == '#' || first == '>' || first == '~' || first == '=' ||
                        ((first == '-' || first == '+') && (isBlankAt(1) || line[1] == first));
    return isMark ? '\\' + line : line;
}

/// What fences or marks of code take, so that a run of as many backticks does not end them.
std::string backticksFor(std::string_view code, std::size_t least) {
    std::size_t longest = 0;
    std::size_t run = 0;
    for (const char c : code) {
        run = c == '`' ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return std::string(std::max(least, longest + 1), '`');
}

std::string codeSpan(const std::string& code) {
    const std::string marks = backticksFor(code, 1);
    const bool isPadded = code.front() == '`' || code.back() == '`' || (code.front() == ' ' && code.back() == ' ');
    const std::string pad = isPadded && code.find_first_not_of(' ') != std::string::npos ? " " : "";
    return marks + pad + code + pad + marks;
}

/// A destination, between angle brackets where it holds more than letters, digits and the like.
std::string destination(std::string_view target) {
    const bool isPlain = !target.empty() && std::all_of(target.begin(), target.end(), [](char c) {
        return isAsciiWord(c) || std::string_view(":/?#@!$'+,;=._~%-").find(c) != std::string_view::npos;
    });
    if (isPlain) {
        return std::string(target);
    }
    std::string result = "<";
    for (const char c : target) {
        result += c == '<' || c == '>' || c == '\\' || c == '&' ? std::string{'\\', c} : std::string{c};
    }
    return result + ">";
}

/// Text of one look, or a picture, as it stands in a line.
struct Segment {
    std::string text;
    Look look;
    bool isPicture = false;
    std::string words;
};

bool looksSame(const Look& a, const Look& b) {
    return a.bold == b.bold && a.italic == b.italic && a.underline == b.underline && a.strike == b.strike &&
           a.raised == b.raised && a.lowered == b.lowered && a.fixed == b.fixed && a.link == b.link;
}

/// The segments of a paragraph: neighbours of one look are one.
std::vector<Segment> segmentsOf(const std::vector<Piece>& pieces) {
    std::vector<Segment> segments;
    for (const Piece& piece : pieces) {
        if (piece.kind == Piece::Kind::Blocks) {
            continue;
        }
        const bool isPicture = piece.kind == Piece::Kind::Picture;
        const std::string text = piece.kind == Piece::Kind::Formula  ? piece.node->allText()
                                 : piece.kind == Piece::Kind::Remark ? "[" + piece.text + "]"
                                                                     : piece.text;
        Look look = piece.look;
        look.strike = look.strike || look.deleted;
        const bool isMore =
            !isPicture && !segments.empty() && !segments.back().isPicture && looksSame(segments.back().look, look);
        if (isMore) {
            segments.back().text += text;
        } else if (!text.empty() || isPicture) {
            segments.push_back({text, look, isPicture, piece.words});
        }
    }
    return segments;
}

/// What the relationships of the document part lead to.
class Targets {
public:
    explicit Targets(const Document& document) : document_(document) {
        for (const Relationship& each : document.codeRelationships()) {
            byId_.emplace(fl::i18n::to_string(each.getID()), each);
        }
    }

    /// Where a hyperlink leads; empty for what lies in the package.
    std::string linkTo(const std::string& id) const {
        const auto found = byId_.find(id);
        const bool isLink = found != byId_.end() && found->second.getTargetMode() == opc::model::TargetMode::External;
        return isLink ? fl::i18n::to_string(found->second.getTarget()) : "";
    }

    /// A picture as a data URI; nothing when there is none.
    std::optional<std::string> pictureAt(const std::string& id) const {
        const auto found = byId_.find(id);
        const std::optional<Part> part = found == byId_.end() ? std::nullopt : document_.partAt(found->second);
        if (!part) {
            return std::nullopt;
        }
        const std::string type = fl::i18n::to_string(part->getContentType().getMediaType());
        return writeDataUri({"data:" + type + ";base64", pictureOf(contentOf(*part), part->getName().ascii())});
    }

private:
    const Document& document_;
    std::map<std::string, Relationship> byId_;
};

/// What a line is for: that of a heading or a cell cannot be broken but by an element.
enum class LineKind { Paragraph, Heading, Cell };

/// Writes the lines of one paragraph.
class LineWriter {
public:
    LineWriter(const Targets& targets, LineKind kind) : targets_(targets), kind_(kind) {}

    std::vector<std::string> write(const std::vector<Segment>& segments) {
        for (std::size_t i = 0; i < segments.size();) {
            const std::string& link = segments[i].look.link;
            const std::string target = link.empty() ? "" : targets_.linkTo(link);
            std::size_t end = i + 1;
            for (; end < segments.size() && segments[end].look.link == link; ++end) {
            }
            lines_.back() += target.empty() ? "" : "[";
            for (; i < end; ++i) {
                segments[i].isPicture ? writePicture(segments[i]) : writeText(segments[i]);
            }
            lines_.back() += target.empty() ? "" : "](" + destination(target) + ")";
        }
        return lines_;
    }

private:
    void writePicture(const Segment& segment) {
        std::string words = segment.words;
        std::replace(words.begin(), words.end(), '\n', ' ');
        const auto picture = targets_.pictureAt(segment.text);
        const std::string missing = "[a picture is missing" + (words.empty() ? "" : ": " + words) + "]";
        const std::string shown = withEscapes(picture ? words : missing, kind_ == LineKind::Heading);
        lines_.back() += picture ? "![" + shown + "](" + destination(*picture) + ")" : shown;
    }

    void writeText(const Segment& segment) {
        const std::string marks = marksOf(segment);
        std::vector<const char*> open;
        const auto openIf = [&](bool isWanted, const char* element) {
            if (isWanted) {
                lines_.back() += "<" + std::string(element) + ">";
                open.push_back(element);
            }
        };
        const Look& look = segment.look;
        openIf(look.underline, "u");
        openIf(look.strike, "s");
        openIf(look.raised, "sup");
        openIf(look.lowered, "sub");
        openIf(look.bold && marks.empty(), "b");
        openIf(look.italic && marks.empty(), "i");
        lines_.back() += marks;
        writeLines(segment);
        lines_.back() += marks;
        for (; !open.empty(); open.pop_back()) {
            lines_.back() += "</" + std::string(open.back()) + ">";
        }
    }

    /// The asterisks of a text that is bold or italic; none where they would not be taken for marks.
    std::string marksOf(const Segment& segment) const {
        const Look& look = segment.look;
        const bool isBesideOthers = !lines_.back().empty() && lines_.back().back() == '*';
        return look.fixed || isBesideOthers || !isBetweenLetters(segment.text)
                   ? ""
                   : std::string((look.bold ? 2 : 0) + (look.italic ? 1 : 0), '*');
    }

    void writeLines(const Segment& segment) {
        std::string_view rest = segment.text;
        for (bool isFirst = true; isFirst || !rest.empty(); isFirst = false) {
            const std::string line(rest.substr(0, rest.find('\n')));
            if (!line.empty()) {
                lines_.back() += segment.look.fixed ? fixed(line) : withEscapes(line, kind_ == LineKind::Heading);
            }
            if (line.size() == rest.size()) {
                return;
            }
            rest.remove_prefix(line.size() + 1);
            breakLine();
        }
    }

    /// In backticks no backslash can tell a bar of the code from one between cells.
    std::string fixed(const std::string& line) const {
        const bool isPlain = kind_ != LineKind::Cell || line.find('|') == std::string::npos;
        return isPlain ? codeSpan(line) : "<code>" + withEscapes(line, false) + "</code>";
    }

    void breakLine() {
        if (kind_ != LineKind::Paragraph) {
            lines_.back() += "<br>";
        } else {
            lines_.emplace_back();
        }
    }

    const Targets& targets_;
    LineKind kind_;
    std::vector<std::string> lines_{""};
};

/// How many levels of lists a paragraph is indented by.
std::size_t indentedLevels(const XmlNode& paragraph) {
    const XmlNode* const properties = paragraph.child("pPr");
    const XmlNode* const indent = properties == nullptr ? nullptr : properties->child("ind");
    std::size_t twips = 0;
    if (indent != nullptr) {
        const std::string_view left = indent->attribute("left");
        std::from_chars(left.data(), left.data() + left.size(), twips);
    }
    return twips / kTwipsOfLevel;
}

/// A list that is open in the text.
struct OpenList {
    std::string id;
    bool isOrdered;
    char mark;           ///< behind the number, or the bullet
    std::size_t indent;  ///< of what stands in its items
};

class BlockWriter {
public:
    BlockWriter(const Targets& targets, const Definitions& definitions)
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
        const std::size_t depth = indentedLevels(paragraph);
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
        if (codeDepth_ == 0 || open_.size() < codeDepth_) {
            leaveLists();
        }
        open_.resize(std::min(open_.size(), codeDepth_));
        isInItems_ = false;
        const std::string indent(open_.empty() ? 0 : open_.back().indent, ' ');
        std::string text = indent + fence + "\n" + *code_ + "\n" + fence + "\n";
        for (std::size_t at = text.find('\n'); at + 1 < text.size(); at = text.find('\n', at + 1)) {
            text.insert(at + 1, text[at + 1] == '\n' ? "" : indent);
        }
        open_.empty() ? writeApart(text) : writeInItem(text);
        code_.reset();
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
            shown == nullptr ? void() : writeInside(*shown);
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
            const bool hasLabel = item && item->levels != nullptr && !isBlankText(counted.label);
            leaveLists();
            writePieces(pieces,
                        std::string(static_cast<std::size_t>(heading), '#') + " " +
                            (hasLabel ? withEscapes(counted.label, true) + " " : ""),
                        true);
        } else if (isItem) {
            writeItem(*item, counted.number, pieces);
        } else if (startsWith(style, "ListContinue")) {
            continueItem(style, pieces);
        } else {
            leaveLists();
            writePieces(pieces, definitions_.styles().isCalled(paragraph, "quote") ? "> " : "", false);
        }
        writeBoxes(pieces);
    }

    /// An item ends the lists that are deeper, and one of another kind or numbering in its place.
    void writeItem(const ListItem& item, unsigned number, const std::vector<Piece>& pieces) {
        const std::size_t level = std::min(item.level, open_.size());
        char mark = item.isOrdered ? '.' : '-';
        open_.resize(std::min(open_.size(), level + 1));
        if (open_.size() == level + 1 && (open_.back().id != item.list || open_.back().isOrdered != item.isOrdered)) {
            // A list of the same kind right behind another takes the other mark, or they would be one.
            if (open_.back().isOrdered == item.isOrdered) {
                mark = open_.back().mark == '.' ? ')' : open_.back().mark == '-' ? '*' : mark;
            }
            open_.pop_back();
        }
        const std::size_t outer = level == 0 ? 0 : open_[level - 1].indent;
        const bool isNew = open_.size() == level;
        if (isNew) {
            open_.push_back({item.list, item.isOrdered, mark, 0});
        }
        OpenList& list = open_.back();
        const std::string label = (item.isOrdered ? std::to_string(number) : "") + std::string{list.mark} + " ";
        list.indent = outer + label.size();
        const bool isEmpty = std::none_of(pieces.begin(), pieces.end(),
                                          [](auto& each) { return each.kind != Piece::Kind::Blocks && isShown(each); });
        const std::string text =
            isEmpty ? std::string(outer, ' ') + label.substr(0, label.size() - 1) + "\n"
                    : lines(pieces, false, std::string(outer, ' ') + label, std::string(list.indent, ' '));
        // Right below a line of text, only a list that begins with 1, and with a text, is one.
        const bool isParted = !isInItems_ || (isNew && level != 0 && (isEmpty || (item.isOrdered && number != 1)));
        isParted ? writeInItem(text) : void(text_ += text);
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
        const auto isInLine = [](const Piece& each) { return each.kind != Piece::Kind::Blocks && isShown(each); };
        if (std::none_of(pieces.begin(), pieces.end(), isInLine)) {
            return;
        }
        const std::string text = lines(pieces, isHeading, mark, isHeading ? "" : mark);
        const bool isQuote = mark == "> ";
        isQuote&& isQuoteOpen_ ? void(text_ += ">\n" + text) : writeApart(text);
        isQuoteOpen_ = isQuote;
    }

    std::string lines(const std::vector<Piece>& pieces, bool isHeading, const std::string& first,
                      const std::string& next) const {
        std::vector<std::string> all =
            LineWriter(targets_, isHeading ? LineKind::Heading : LineKind::Paragraph).write(segmentsOf(pieces));
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

    /// The number of each column in which a cell begins, by its place in the grid.
    static std::map<std::size_t, std::size_t> placesOf(const TableGrid& grid) {
        std::map<std::size_t, std::size_t> places;
        for (const TableGrid::Row& row : grid.rows()) {
            for (const TableGrid::Cell& cell : row.cells) {
                places[cell.column];
            }
        }
        std::size_t count = 0;
        for (auto& [column, place] : places) {
            place = count++;
        }
        return places;
    }

    /// A row is a line with as many cells as the table has columns: a merged one stands in the first of its places.
    void writeTable(const XmlNode& table) {
        const TableGrid grid(table);
        std::map<std::size_t, std::size_t> places = placesOf(grid);
        std::string lines;
        for (const TableGrid::Row& row : grid.rows()) {
            // Only the first row has to have all cells; the others end with their last one.
            std::vector<std::string> cells(lines.empty() ? places.size() : 1);
            for (const TableGrid::Cell& cell : row.cells) {
                const std::size_t place = places[cell.column];
                cells.resize(std::max(cells.size(), place + 1));
                cells[place] = cell.node == nullptr ? "" : wordsOf(*cell.node);
            }
            const std::string rule = lines.empty() ? pipeRule(places.size()) : "";
            lines += pipeRow(cells) + rule;
        }
        if (!lines.empty()) {
            leaveLists();
            writeApart(lines);
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
            add(withBlanks(LineWriter(targets_, LineKind::Cell).write(segmentsOf({at, end})).front()));
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
        isItemEmpty_ ? void(text_ += text) : writeApart(text);
        isItemEmpty_ = false;
    }

    void writeApart(const std::string& text) {
        isItemEmpty_ = false;
        isQuoteOpen_ = false;
        text_ += (text_.empty() ? "" : "\n") + text;
    }

    const Targets& targets_;
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
        throw opc::Exception(opc::ErrorKind::Damaged, tree.fault);
    }
    const Targets targets(document);
    const Definitions definitions(document);
    BlockWriter writer(targets, definitions);
    const XmlNode* const body = tree.root()->child(kWordNamespace, "body");
    if (body != nullptr) {
        writer.writeBody(*body);
    }
    return std::move(writer).text();
}

}  // namespace flowbook::kit
