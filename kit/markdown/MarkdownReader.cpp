#include "kit/markdown/MarkdownReader.hpp"

#include "kit/document/Change.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/Document.hpp"
#include "kit/markdown/MarkdownTables.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace flowbook::kit {

namespace {

// A numbering has nine levels, from 0 on (ECMA-376-1, part 1, 17.9.6). Lists that lie deeper share the last one.
constexpr std::size_t kDeepestLevel = 8;
constexpr char kRelationships[] = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
constexpr char kHyperlinkType[] = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/hyperlink";
constexpr char kNumberingType[] = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/numbering";
constexpr char kNumberingContent[] = "application/vnd.openxmlformats-officedocument.wordprocessingml.numbering+xml";
constexpr char kNumberingPart[] = "/tarmic/numbering.xml";

/// What XML has of a text; the characters that it cannot hold, which are controls and two others, are U+FFFD.
std::string escaped(std::string_view text) {
    std::string held;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view rest = text.substr(at);
        const bool isWide = startsWith(rest, "\xEF\xBF\xBE") || startsWith(rest, "\xEF\xBF\xBF");  // U+FFFE, U+FFFF
        const auto byte = static_cast<unsigned char>(text[at]);
        const bool isHeld = !isWide && (byte >= 0x20 || byte == '\t' || byte == '\n' || byte == '\r');
        held += isHeld ? text.substr(at, 1) : "\uFFFD";
        at += isWide ? 2 : 0;
    }
    return escapedText(held);
}

std::string escapedInAttribute(std::string_view text) {
    std::string xml;
    for (const char c : escaped(text)) {
        xml += c == '"' ? "&quot;" : std::string(1, c);
    }
    return xml;
}

std::string literalOf(cmark_node* node) {
    const char* const text = cmark_node_get_literal(node);
    return text == nullptr ? "" : text;
}

std::string urlOf(cmark_node* node) {
    const char* const url = cmark_node_get_url(node);
    return url == nullptr ? "" : url;
}

/// The look of a text by the marks that are open around it. Marks are counted and not switched, since HTML tags and the
/// marks of Markdown may lie in each other.
enum Mark { kBold, kItalic, kUnderline, kStrike, kRaised, kLowered, kFixed, kMarkCount };

struct Tag {
    std::string_view name;
    Mark mark;
};

constexpr Tag kTags[] = {{"b", kBold},        {"strong", kBold},   {"i", kItalic},    {"em", kItalic},
                         {"u", kUnderline},   {"ins", kUnderline}, {"s", kStrike},    {"del", kStrike},
                         {"strike", kStrike}, {"sup", kRaised},    {"sub", kLowered}, {"code", kFixed}};

/// A list of the text. Each becomes a numbering of its own, so that it begins to count anew.
struct List {
    std::size_t level;
    bool isOrdered;
    int start;
};

/// Writes the blocks of a document that cmark has taken apart as rich code.
class RichCodeWriter {
public:
    RichCodeWriter(opc::model::Package& package, const PictureSource& pictures, const MarkdownTables& tables)
        : package_(package), pictures_(pictures), tables_(tables) {}

    void write(cmark_node* document) {
        writeInside(document);
        storeNumbering();
    }

    fl::Bytes document() const {
        const std::string xml = "<w:document xmlns:w=\"" + std::string(kWordNamespace) + "\" xmlns:r=\"" +
                                kRelationships + "\"><w:body>" + body_ + "</w:body></w:document>";
        return {xml.begin(), xml.end()};
    }

private:
    void writeInside(cmark_node* document) {
        const IteratorPtr walk(cmark_iter_new(document), &cmark_iter_free);
        for (cmark_event_type event = cmark_iter_next(walk.get()); event != CMARK_EVENT_DONE;
             event = cmark_iter_next(walk.get())) {
            cmark_node* const node = cmark_iter_get_node(walk.get());
            const bool isStart = event == CMARK_EVENT_ENTER;
            if (image_ != nullptr) {
                continueImage(node, isStart);
            } else if (isStart && takeTable(node)) {
                // The cells have been written already; without this the walk would write the lines of the table once
                // more as text.
                cmark_iter_reset(walk.get(), node, CMARK_EVENT_EXIT);
            } else if (!takeContainer(node, isStart) && !takeBlock(node, isStart)) {
                takeInline(node, isStart);
            }
        }
    }

    /// A paragraph that is a table. @returns false for other nodes.
    bool takeTable(cmark_node* node) {
        const MarkdownTable* const table = tables_.at(node);
        if (table == nullptr) {
            return false;
        }
        endEmptyItem();
        const std::size_t indent = twipsHere();
        body_ += indent == 0 ? "<w:tbl><w:tblPr/><w:tblGrid>"
                             : "<w:tbl><w:tblPr><w:tblInd w:w=\"" + std::to_string(indent) +
                                   "\" w:type=\"dxa\"/></w:tblPr><w:tblGrid>";
        for (std::size_t i = 0; i < table->columns.size(); ++i) {
            body_ += "<w:gridCol/>";
        }
        body_ += "</w:tblGrid>";
        for (const std::vector<cmark_node*>& row : table->rows) {
            body_ += &row == &table->rows.front() ? "<w:tr><w:trPr><w:tblHeader/></w:trPr>" : "<w:tr>";
            for (std::size_t i = 0; i < row.size(); ++i) {
                writeCell(row[i], i < table->columns.size() ? table->columns[i] : Alignment::None);
            }
            body_ += "</w:tr>";
        }
        body_ += "</w:tbl>";
        isAfterCode_ = false;
        return true;
    }

    void writeCell(cmark_node* cell, Alignment alignment) {
        cellProperties_ = (quotes_ > 0 && open_.empty() ? styled("Quote") : "") + justified(alignment);
        body_ += "<w:tc><w:tcPr/>";
        if (cell == nullptr) {
            beginParagraph(*cellProperties_);
            endParagraph();
        } else {
            // Cells are read as paragraphs that begin with bytes of our own, which keep cmark from taking them as
            // another block.
            unseen_ = MarkdownTables::kUnseen;
            writeInside(cell);
        }
        body_ += "</w:tc>";
        cellProperties_.reset();
    }

    static std::string justified(Alignment alignment) {
        constexpr std::pair<Alignment, const char*> kWords[] = {
            {Alignment::Left, "left"}, {Alignment::Center, "center"}, {Alignment::Right, "right"}};
        for (const auto& [each, word] : kWords) {
            if (each == alignment) {
                return std::string("<w:jc w:val=\"") + word + "\"/>";
            }
        }
        return "";
    }

    /// What holds blocks. @returns false for other nodes.
    bool takeContainer(cmark_node* node, bool isStart) {
        const cmark_node_type type = cmark_node_get_type(node);
        // A list is left on the way out, so its number stays the last of open_ as long as its items are written.
        if (type == CMARK_NODE_LIST) {
            isStart ? beginList(node) : open_.pop_back();
        } else if (type == CMARK_NODE_ITEM) {
            endEmptyItem();
            isItemNew_ = isStart;
        } else if (type == CMARK_NODE_BLOCK_QUOTE) {
            quotes_ += isStart ? 1 : -1;
        } else {
            return type == CMARK_NODE_DOCUMENT;
        }
        return true;
    }

    /// An item counts in its list even if it has no text, or none before a list in it.
    void endEmptyItem() {
        if (isItemNew_) {
            beginParagraph(propertiesHere());
            endParagraph();
        }
    }

    void beginList(cmark_node* node) {
        endEmptyItem();
        const bool isOrdered = cmark_node_get_list_type(node) == CMARK_ORDERED_LIST;
        lists_.push_back({std::min(open_.size(), kDeepestLevel), isOrdered, cmark_node_get_list_start(node)});
        open_.push_back(lists_.size());
    }

    bool takeBlock(cmark_node* node, bool isStart) {
        const cmark_node_type type = cmark_node_get_type(node);
        if (type == CMARK_NODE_PARAGRAPH) {
            isStart ? beginParagraph(propertiesHere()) : endParagraph();
        } else if (type == CMARK_NODE_HEADING) {
            const std::string level = std::to_string(cmark_node_get_heading_level(node));
            endEmptyItem();
            isStart ? beginParagraph(styled("Heading" + level)) : endParagraph();
        } else if (type == CMARK_NODE_CODE_BLOCK) {
            writeCode(literalOf(node));
        } else if (type == CMARK_NODE_THEMATIC_BREAK) {
            endEmptyItem();
            beginParagraph("<w:pBdr><w:bottom w:val=\"single\" w:sz=\"4\" w:space=\"1\"/></w:pBdr>");
            endParagraph();
        } else if (type == CMARK_NODE_HTML_BLOCK) {
            writeHtml(literalOf(node));
        } else {
            return false;
        }
        return true;
    }

    static std::string styled(const std::string& style) { return "<w:pStyle w:val=\"" + style + "\"/>"; }

    /// The first paragraph of an item carries its number; those that follow it have a style of their own.
    std::string propertiesHere() {
        if (cellProperties_) {
            return *cellProperties_;
        }
        if (open_.empty()) {
            return quotes_ > 0 ? styled("Quote") : "";
        }
        const List& list = lists_[open_.back() - 1];
        if (std::exchange(isItemNew_, false)) {
            return "<w:numPr><w:ilvl w:val=\"" + std::to_string(list.level) + "\"/><w:numId w:val=\"" +
                   std::to_string(open_.back()) + "\"/></w:numPr>";
        }
        return styled("ListContinue" + (list.level == 0 ? "" : std::to_string(list.level + 1))) + indentHere();
    }

    /// What belongs to an item, and is not its first paragraph, is indented.
    std::string indentHere() const {
        const std::size_t twips = twipsHere();
        return twips == 0 ? "" : "<w:ind w:left=\"" + std::to_string(twips) + "\"/>";
    }

    std::size_t twipsHere() const {
        constexpr std::size_t kTwipsOfLevel = 720;
        return open_.empty() ? 0 : kTwipsOfLevel * (lists_[open_.back() - 1].level + 1);
    }

    void beginParagraph(const std::string& properties) {
        body_ += properties.empty() ? "<w:p>" : "<w:p><w:pPr>" + properties + "</w:pPr>";
        marks_.fill(0);
        isAfterCode_ = false;
    }

    void endParagraph() { body_ += "</w:p>"; }

    /// Two blocks of code in a row would otherwise be one, as code paragraphs that follow each other are.
    void writeCode(std::string code) {
        endEmptyItem();
        if (isAfterCode_) {
            body_ += "<w:p/>";
        }
        if (!code.empty() && code.back() == '\n') {
            code.pop_back();
        }
        body_ += "<w:p><w:pPr>" + styled("code") + indentHere() + "</w:pPr><w:r><w:t xml:space=\"preserve\">" +
                 escapedText(storable(code)) + "</w:t></w:r></w:p>";
        isAfterCode_ = true;
    }

    void writeHtml(std::string html) {
        html.erase(html.find_last_not_of(" \n") + 1);
        // A block that is one comment and nothing else shows nothing. One with text behind the comment is kept as text.
        if (html.rfind("<!--", 0) == 0 && html.find("-->") + 3 == html.size()) {
            return;
        }
        beginParagraph(propertiesHere());
        for (std::size_t at = 0; at <= html.size();) {
            const std::size_t end = std::min(html.find('\n', at), html.size());
            if (at != 0) {
                addBreak();
            }
            addText(html.substr(at, end - at));
            at = end + 1;
        }
        endParagraph();
    }

    void takeInline(cmark_node* node, bool isStart) {
        switch (cmark_node_get_type(node)) {
        case CMARK_NODE_TEXT:
            return addText(literalOf(node));
        case CMARK_NODE_SOFTBREAK:
            return addText(" ");
        case CMARK_NODE_LINEBREAK:
            return addBreak();
        case CMARK_NODE_CODE:
            return addCode(literalOf(node));
        case CMARK_NODE_HTML_INLINE:
            return takeTag(literalOf(node));
        case CMARK_NODE_EMPH:
            marks_[kItalic] += isStart ? 1 : -1;
            return;
        case CMARK_NODE_STRONG:
            marks_[kBold] += isStart ? 1 : -1;
            return;
        case CMARK_NODE_LINK:
            return isStart ? beginLink(urlOf(node)) : endLink();
        case CMARK_NODE_IMAGE:
            image_ = node;
            words_.clear();
            return;
        default:
            return;
        }
    }

    void addText(std::string text) {
        // An empty run would still be an element, and make two texts that are read differ.
        text.erase(0, std::exchange(unseen_, 0));
        if (!text.empty()) {
            addRun("<w:t xml:space=\"preserve\">" + escaped(text) + "</w:t>");
        }
    }

    void addCode(std::string text) {
        ++marks_[kFixed];
        addText(std::move(text));
        --marks_[kFixed];
    }

    void addBreak() { addRun("<w:br/>"); }

    void addRun(const std::string& content) {
        // In the order that the schema requires of the properties of a run (ECMA-376-1, part 1, 17.3.2.28).
        constexpr std::pair<Mark, const char*> kProperties[] = {{kFixed, "<w:rStyle w:val=\"VerbatimChar\"/>"},
                                                                {kBold, "<w:b/>"},
                                                                {kItalic, "<w:i/>"},
                                                                {kStrike, "<w:strike/>"},
                                                                {kUnderline, "<w:u w:val=\"single\"/>"},
                                                                {kRaised, "<w:vertAlign w:val=\"superscript\"/>"},
                                                                {kLowered, "<w:vertAlign w:val=\"subscript\"/>"}};
        std::string properties;
        for (const auto& [mark, xml] : kProperties) {
            properties += marks_[mark] > 0 ? xml : "";
        }
        body_ += "<w:r>" + (properties.empty() ? "" : "<w:rPr>" + properties + "</w:rPr>") + content + "</w:r>";
    }

    /// A tag of a look changes the look, "<br>" breaks the line; a comment is left out, and other HTML stays as text.
    void takeTag(const std::string& html) {
        const bool isEnd = html.rfind("</", 0) == 0;
        const std::size_t start = isEnd ? 2 : 1;
        std::string name = html.substr(start, html.find_first_of(" />", start) - start);
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
        const auto* const tag =
            std::find_if(std::begin(kTags), std::end(kTags), [&](const Tag& each) { return each.name == name; });
        if (tag != std::end(kTags)) {
            // An end tag without a start would otherwise make the next start tag do nothing.
            marks_[tag->mark] = std::max(0, marks_[tag->mark] + (isEnd ? -1 : 1));
        } else if (name == "br") {
            addBreak();
        } else if (html.rfind("<!--", 0) != 0) {
            addText(html);
        }
    }

    void beginLink(const std::string& target) {
        // A reference without a target cannot be stored, and leads nowhere.
        isInLink_ = !target.empty();
        if (isInLink_) {
            body_ += "<w:hyperlink r:id=\"" + linkTo(target) + "\">";
        }
    }

    void endLink() { body_ += std::exchange(isInLink_, false) ? "</w:hyperlink>" : ""; }

    std::string linkTo(const std::string& target) {
        std::string& id = links_[target];
        if (id.empty()) {
            const std::string source = codePartName();
            id = apply(AddRelationship{source, "", kHyperlinkType, target, false}, package_).relationship;
        }
        return id;
    }

    /// The words of a picture stand in it as text.
    void continueImage(cmark_node* node, bool isStart) {
        if (node != image_) {
            const cmark_node_type type = cmark_node_get_type(node);
            const bool isBreak = type == CMARK_NODE_SOFTBREAK || type == CMARK_NODE_LINEBREAK;
            words_ += !isStart ? "" : isBreak ? " " : literalOf(node);
        } else {
            image_ = nullptr;
            addPicture(urlOf(node));
        }
    }

    void addPicture(const std::string& destination) {
        auto known = drawn_.find(destination);
        if (known == drawn_.end()) {
            const std::optional<MarkdownPicture> picture = pictures_(destination);
            const std::string id =
                picture ? apply(AddPicture{picture->mediaType, picture->content}, package_).relationship : "";
            known = drawn_.emplace(destination, id).first;
        }
        // A picture that is not stored, because it lies elsewhere, is still of use as a link.
        known->second.empty() ? addLinkToPicture(destination) : addDrawing(known->second);
    }

    void addLinkToPicture(const std::string& destination) {
        // A link in a link cannot be stored. The outer one stays, as it is where a click on the picture leads.
        const bool isAlone = !isInLink_;
        if (isAlone) {
            beginLink(destination);
        }
        addText(words_.empty() ? destination : words_);
        if (isAlone) {
            endLink();
        }
    }

    void addDrawing(const std::string& relationship) {
        const std::string number = std::to_string(++drawingCount_);
        const std::string name = "Picture " + number;
        addRun("<w:drawing><wp:inline "
               "xmlns:wp=\"http://schemas.openxmlformats.org/drawingml/2006/wordprocessingDrawing\"><wp:docPr id=\"" +
               number + "\" name=\"" + name + "\" descr=\"" + escapedInAttribute(words_) +
               "\"/><a:graphic xmlns:a=\"http://schemas.openxmlformats.org/drawingml/2006/main\"><a:graphicData "
               "uri=\"http://schemas.openxmlformats.org/drawingml/2006/picture\"><pic:pic "
               "xmlns:pic=\"http://schemas.openxmlformats.org/drawingml/2006/picture\"><pic:nvPicPr><pic:cNvPr id=\"" +
               number + "\" name=\"" + name + "\"/><pic:cNvPicPr/></pic:nvPicPr><pic:blipFill><a:blip r:embed=\"" +
               relationship +
               "\"/><a:stretch><a:fillRect/></a:stretch></pic:blipFill><pic:spPr/></pic:pic></a:graphicData>"
               "</a:graphic></wp:inline></w:drawing>");
    }

    /// The numberings that the items refer to (ECMA-376-1, part 1, 17.9), one for each list.
    void storeNumbering() {
        if (lists_.empty()) {
            return;
        }
        std::string kinds;
        std::string lists;
        for (std::size_t i = 0; i < lists_.size(); ++i) {
            const List& list = lists_[i];
            const std::string id = std::to_string(i + 1);
            const std::string text = list.isOrdered ? "%" + std::to_string(list.level + 1) + "." : "\u2022";
            const std::string level = std::to_string(list.level);
            const std::string start = std::to_string(list.isOrdered ? list.start : 1);
            const std::string_view kind = list.isOrdered ? "decimal" : "bullet";
            kinds.append("<w:abstractNum w:abstractNumId=\"").append(id);
            kinds.append("\"><w:lvl w:ilvl=\"").append(level).append("\"><w:start w:val=\"").append(start);
            kinds.append("\"/><w:numFmt w:val=\"").append(kind).append("\"/><w:lvlText w:val=\"").append(text);
            kinds.append("\"/></w:lvl></w:abstractNum>");
            lists.append("<w:num w:numId=\"").append(id);
            lists.append("\"><w:abstractNumId w:val=\"").append(id).append("\"/></w:num>");
        }
        const std::string xml =
            "<w:numbering xmlns:w=\"" + std::string(kWordNamespace) + "\">" + kinds + lists + "</w:numbering>";
        const std::string source = codePartName();
        apply(PutPart{kNumberingPart, kNumberingContent, {xml.begin(), xml.end()}, true}, package_);
        apply(AddRelationship{source, "", kNumberingType, kNumberingPart, true}, package_);
    }

    std::string codePartName() const {
        // The package is one that was made for this text, so it has a code part.
        return codePartOf(package_).value().getName().ascii();
    }

    opc::model::Package& package_;
    const PictureSource& pictures_;
    const MarkdownTables& tables_;
    std::string body_;
    std::optional<std::string> cellProperties_;  ///< of the paragraph in the present cell
    std::size_t unseen_ = 0;                     ///< so many bytes of the next text are none of the document's
    std::vector<List> lists_;
    std::vector<std::size_t> open_;  ///< the numbers, from 1 on, of the lists around the present place
    bool isItemNew_ = false;         ///< whether the item has no paragraph yet
    int quotes_ = 0;
    bool isAfterCode_ = false;
    std::array<int, kMarkCount> marks_{};
    bool isInLink_ = false;
    std::map<std::string, std::string> links_;  ///< relationships by target
    std::map<std::string, std::string> drawn_;  ///< relationships by destination; empty for pictures elsewhere
    cmark_node* image_ = nullptr;               ///< the picture whose words are being read
    std::string words_;
    std::size_t drawingCount_ = 0;
};

}  // namespace

void readMarkdown(opc::model::Package& package, std::string_view utf8, const PictureSource& pictures) {
    const std::string text = withLineFeeds(utf8);
    const NodePtr document = parseMarkdown(text);
    const MarkdownTables tables(document.get(), text);
    RichCodeWriter writer(package, pictures, tables);
    writer.write(document.get());
    // The document comes last: pictures and links have been added meanwhile, and it refers to their relationships.
    apply(SetRichCode{writer.document()}, package);
}

}  // namespace flowbook::kit
