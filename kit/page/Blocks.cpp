#include "kit/page/Blocks.hpp"

#include "kit/document/RichText.hpp"
#include "kit/page/Formula.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace flowbook::kit {

namespace {

constexpr int kTwipsOfIndent = 360;
constexpr int kDeepestIndent = 8;

std::string_view styleOf(const XmlNode& paragraph) {
    const XmlNode* const properties = paragraph.child("pPr");
    return properties == nullptr ? std::string_view() : properties->valueOf("pStyle");
}

bool styleHas(const XmlNode& paragraph, std::string_view small) {
    std::string style(styleOf(paragraph));
    std::transform(style.begin(), style.end(), style.begin(), [](unsigned char c) { return std::tolower(c); });
    return style.find(small) != std::string::npos;
}

bool isQuote(const XmlNode& paragraph) { return styleHas(paragraph, "quote"); }

/// How far a paragraph is indented, in steps of a quarter of an inch.
int indentOf(const XmlNode& paragraph) {
    const XmlNode* const properties = paragraph.child("pPr");
    const XmlNode* const indent = properties == nullptr ? nullptr : properties->child("ind");
    if (indent == nullptr) {
        return 0;
    }
    const std::string_view left =
        indent->attribute("left").empty() ? indent->attribute("start") : indent->attribute("left");
    int twips = 0;
    std::from_chars(left.data(), left.data() + left.size(), twips);
    return std::clamp((twips + kTwipsOfIndent / 2) / kTwipsOfIndent, 0, kDeepestIndent);
}

std::string classOf(const XmlNode& paragraph) {
    const int indent = indentOf(paragraph);
    const std::string error = styleHas(paragraph, "error") ? "error" : "";
    return error + (indent == 0 ? "" : (error.empty() ? "in" : " in") + std::to_string(indent));
}

bool isBlock(const XmlNode& node) { return node.local == "p" || node.local == "tbl" || node.local == "txbxContent"; }

bool hasInlineText(const std::vector<Piece>& pieces) {
    return std::any_of(pieces.begin(), pieces.end(),
                       [](const Piece& piece) { return isInline(piece) && isShown(piece); });
}

/// Whether there is text at all, were it of blanks alone.
bool hasCharacters(const std::vector<Piece>& pieces) {
    return std::any_of(pieces.begin(), pieces.end(), [](const Piece& piece) {
        return isInline(piece) && (piece.kind != Piece::Kind::Text || !piece.text.empty());
    });
}

bool isPictures(const std::vector<Piece>& pieces) {
    return !pieces.empty() && std::all_of(pieces.begin(), pieces.end(), [](const Piece& piece) {
        return piece.kind == Piece::Kind::Picture || !isShown(piece);
    });
}

bool isCaption(const XmlNode& node) {
    if (node.local != "p" || !styleHas(node, "caption")) {
        return false;
    }
    const std::vector<Piece> pieces = piecesOf(node);
    return hasInlineText(pieces) && std::all_of(pieces.begin(), pieces.end(), isInline);
}

/// Where the next element after `at` stands among its siblings; their number when there is none.
std::size_t nextElement(const std::vector<XmlNode>& siblings, std::size_t at) {
    do {
        ++at;
    } while (at < siblings.size() && siblings[at].isText() && isBlankText(siblings[at].text));
    return at;
}

void collectHeadings(const XmlNode& node, bool isBody, std::vector<int>& styles);

void collectHeadingsOf(const XmlNode& child, bool isBody, std::vector<int>& styles) {
    if (child.local == "AlternateContent") {
        forEachShown(child, [&](const XmlNode& each) { collectHeadingsOf(each, false, styles); });
    } else if (child.local == "p") {
        const int style = isBody && codeIn(child) != nullptr ? 0 : headingStyleOf(child);
        if (style != 0 && hasInlineText(piecesOf(child))) {
            styles.push_back(style);
        }
        collectHeadings(child, false, styles);
    } else if (!isSettings(child)) {
        collectHeadings(child, false, styles);
    }
}

void collectHeadings(const XmlNode& node, bool isBody, std::vector<int>& styles) {
    for (const XmlNode& child : node.children) {
        collectHeadingsOf(child, isBody, styles);
    }
}

bool hasHeadings(const XmlNode& node) {
    std::vector<int> styles;
    collectHeadings(node, false, styles);
    return !styles.empty();
}

const XmlNode* bodyOf(const XmlNode* root) { return root == nullptr ? nullptr : root->child(kWordNamespace, "body"); }

}  // namespace

int headingStyleOf(const XmlNode& paragraph) {
    const int ofStyle = headingOf(styleOf(paragraph));
    const XmlNode* const properties = paragraph.child("pPr");
    const std::string_view level = properties == nullptr ? "" : properties->valueOf("outlineLvl");
    const bool isLevel = level.size() == 1 && level[0] >= '0' && level[0] <= '8';
    return ofStyle != 0 || !isLevel ? ofStyle : level[0] - '0' + 1;
}

bool holdsBlocks(const XmlNode& node) {
    return std::any_of(node.children.begin(), node.children.end(),
                       [](const XmlNode& child) { return isBlock(child) || holdsBlocks(child); });
}

const XmlNode* codeIn(const XmlNode& paragraph) {
    const XmlNode* const properties = paragraph.child(kWordNamespace, "pPr");
    const XmlNode* const style = properties == nullptr ? nullptr : properties->child(kWordNamespace, "pStyle");
    const bool isCode = style != nullptr && style->attribute(kWordNamespace, "val") == "code";
    const XmlNode* const run = isCode ? paragraph.child(kWordNamespace, "r") : nullptr;
    return run == nullptr || paragraph.ns != kWordNamespace ? nullptr : run->child(kWordNamespace, "t");
}

std::vector<int> headingStylesIn(const XmlNode& node) {
    std::vector<int> styles;
    const XmlNode* const body = bodyOf(&node);
    for (const XmlNode& child : node.children) {
        collectHeadings(child, &child == body, styles);
    }
    return styles;
}

void Blocks::write(const XmlNode* root) {
    const XmlNode* const body = bodyOf(root);
    if (body != nullptr) {
        const auto last = std::find_if(body->children.rbegin(), body->children.rend(), [](const XmlNode& each) {
            return each.local == "p" && codeIn(each) != nullptr;
        });
        lastCode_ = last == body->children.rend() ? nullptr : &*last;
    }
    Place place(counts_);
    for (std::size_t i = 0; root != nullptr && i < root->children.size(); ++i) {
        const XmlNode& child = root->children[i];
        place.isBody = &child == body;
        place.isBody ? writeChildren(child, place) : writeLoose(child, place);
    }
    leave(place);
    listing_.tellRest();
}

void Blocks::writeInside(const XmlNode& node) {
    Place place(counts_);
    writeChildren(node, place);
    leave(place);
}

void Blocks::writeChildren(const XmlNode& node, Place& place) {
    for (std::size_t at = 0; at < node.children.size();) {
        at += writeBlock(node.children, at, place);
    }
}

/// Ends what the next block does not belong to.
void Blocks::leave(Place& place, bool isStillInList, bool isStillInQuote) {
    listing_.finish();
    if (place.isInList && !isStillInList) {
        place.lists.finish(*out_);
        place.isInList = false;
    }
    if (place.isInQuote && !isStillInQuote) {
        out_->close();
        place.isInQuote = false;
    }
}

/// @returns how many of the siblings were written: a caption belongs to what it describes.
std::size_t Blocks::writeBlock(const std::vector<XmlNode>& siblings, std::size_t at, Place& place) {
    const XmlNode& node = siblings[at];
    const std::size_t next = nextElement(siblings, at);
    const XmlNode* const follower = next < siblings.size() ? &siblings[next] : nullptr;
    if (node.local == "tbl") {
        leave(place);
        writeTable(node, nullptr);
    } else if (node.local != "p") {
        writeLoose(node, place);
    } else if (isCaption(node) && follower != nullptr && follower->local == "tbl") {
        leave(place);
        writeTable(*follower, &node);
        return next + 1 - at;
    } else if (!writeCode(node, place)) {
        const bool hasCaption = follower != nullptr && isCaption(*follower) && isPictures(piecesOf(node));
        writeParagraph(node, hasCaption ? follower : nullptr, place);
        return hasCaption ? next + 1 - at : 1;
    }
    return 1;
}

/// What is neither paragraph nor table: a container of those, or something that stands outside of any paragraph.
void Blocks::writeLoose(const XmlNode& node, Place& place) {
    if (isSettings(node) || (node.isText() && isBlankText(node.text))) {
        return;
    }
    if (node.local == "AlternateContent") {
        forEachShown(node, [&](const XmlNode& each) { writeLoose(each, place); });
    } else if (holdsBlocks(node)) {
        const bool wasBody = std::exchange(place.isBody, false);
        writeChildren(node, place);
        place.isBody = wasBody;
    } else {
        XmlNode parent;
        parent.children.push_back(node);
        const std::vector<Piece> pieces = piecesOf(parent);
        if (std::any_of(pieces.begin(), pieces.end(), isShown)) {
            leave(place, true, true);
            writePieces(pieces, nullptr, "");
        }
    }
}

bool Blocks::writeCode(const XmlNode& paragraph, Place& place) {
    const XmlNode* const code = place.isBody ? codeIn(paragraph) : nullptr;
    if (code == nullptr) {
        return false;
    }
    const std::vector<Piece> pieces = piecesOf(paragraph);
    const auto at = std::find_if(pieces.begin(), pieces.end(), [&](const Piece& piece) { return piece.node == code; });
    const auto behind = at == pieces.end() ? pieces.begin() : at + 1;
    if (place.isInList || place.isInQuote) {
        leave(place);
    }
    Markup before;
    Markup after;
    const auto writeBeside = [&](Markup& out, auto begin, auto end) {
        const std::vector<Piece> beside(begin, end);
        if (hasCharacters(beside)) {
            out.open("span", {{"class", "beside"}}).append(inlineOf(beside)).close();
            hasTextBesideCode_ = true;
        }
    };
    writeBeside(before, pieces.begin(), at == pieces.end() ? pieces.begin() : at);
    writeBeside(after, behind, pieces.end());
    listing_.add(code->allText(), before, after, &paragraph == lastCode_);
    for (const Piece& piece : pieces) {
        if (!isInline(piece)) {
            listing_.finish();
            writeApart(piece, nullptr);
        }
    }
    return true;
}

/// A code paragraph that readers do not take for code, as it stands in a table or has no text where they look.
void Blocks::writeBesideCode(const std::vector<Piece>& pieces) {
    const std::string label = "Text in the style of code, " + std::to_string(++tableCount_);
    if (hasInlineText(pieces)) {
        hasTextBesideCode_ = true;
        out_->open("pre", {{"class", "plain"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
        out_->open("code", {{"class", "beside"}, {"translate", "no"}}).append(inlineOf(pieces)).close().close();
    }
    for (const Piece& piece : pieces) {
        if (!isInline(piece)) {
            writeApart(piece, nullptr);
        }
    }
}

Markup Blocks::inlineOf(const std::vector<Piece>& pieces) {
    Markup out;
    InlineWriter writer(out, *figures_);
    for (const Piece& piece : pieces) {
        if (isInline(piece)) {
            writer.write(piece);
        }
    }
    return out;
}

void Blocks::writeParagraph(const XmlNode& paragraph, const XmlNode* caption, Place& place) {
    const std::vector<Piece> pieces = piecesOf(paragraph);
    const bool isBlank = std::none_of(pieces.begin(), pieces.end(), isShown);
    const int heading = headingStyleOf(paragraph);
    const std::optional<ListItem> item = heading == 0 ? numbering_.itemOf(paragraph) : std::nullopt;
    // An item counts in its list even if there is nothing in it.
    if (isBlank && !item) {
        writeBlank(pieces, place);
        return;
    }
    const bool isInQuote = heading == 0 && !item && isQuote(paragraph);
    leave(place, item.has_value(), isInQuote);
    if (item) {
        place.lists.beginItem(*out_, *item);
        place.isInList = true;
    } else if (isInQuote && !place.isInQuote) {
        out_->open("blockquote");
        place.isInQuote = true;
    }
    if (styleOf(paragraph) == "code") {
        writeBesideCode(pieces);
    } else if (heading != 0 && hasInlineText(pieces)) {
        writeHeading(heading, pieces);
    } else {
        writePieces(pieces, caption, item ? "" : classOf(paragraph));
    }
}

void Blocks::writeBlank(const std::vector<Piece>& pieces, Place& place) {
    if (hasCharacters(pieces)) {
        leave(place, true, true);
        out_->open("p", {{"dir", "auto"}}).append(inlineOf(pieces)).close();
    }
}

void Blocks::writePieces(const std::vector<Piece>& pieces, const XmlNode* caption, std::string_view kind) {
    const auto lastApart = std::find_if_not(pieces.rbegin(), pieces.rend(), isInline);
    for (auto at = pieces.begin(); at != pieces.end();) {
        const auto end = std::find_if_not(at, pieces.end(), isInline);
        const std::vector<Piece> line(at, end);
        if (hasInlineText(line)) {
            kind.empty() ? out_->open("p", {{"dir", "auto"}}) : out_->open("p", {{"class", kind}, {"dir", "auto"}});
            std::for_each(at, end, [this](const Piece& piece) { inline_.write(piece); });
            out_->close();
        }
        at = end;
        if (at != pieces.end()) {
            const bool isLast = &*at == &*lastApart;
            const Markup words = caption != nullptr && isLast ? inlineOf(piecesOf(*caption)) : Markup();
            writeApart(*at, words.finished().empty() ? nullptr : &words);
            ++at;
        }
    }
}

void Blocks::writeApart(const Piece& piece, const Markup* caption) {
    if (piece.kind == Piece::Kind::Picture) {
        figures_->write(*out_, piece.text, piece.words, caption);
        return;
    }
    out_->open("div", {{"class", "box"}});
    Place place(counts_);
    if (piece.node->local == "txbxContent") {
        writeChildren(*piece.node, place);
    } else {
        piece.node->local == "tbl" ? writeTable(*piece.node, nullptr) : writeParagraph(*piece.node, nullptr, place);
    }
    leave(place);
    out_->close();
}

void Blocks::writeHeading(int style, const std::vector<Piece>& pieces) {
    std::string text;
    for (const Piece& piece : pieces) {
        text += piece.kind == Piece::Kind::Formula ? piece.node->allText() : isInline(piece) ? piece.text : "";
    }
    headings_->open(*out_, style, text);
    out_->append(inlineOf(pieces)).close();
    for (const Piece& piece : pieces) {
        if (!isInline(piece)) {
            writeApart(piece, nullptr);
        }
    }
}

void Blocks::writeTable(const XmlNode& table, const XmlNode* caption) {
    const TableGrid grid(table);
    const std::string label = "Table " + std::to_string(++tableCount_);
    out_->open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
    out_->open("table", {{"class", "content"}});
    writeTableCaption(table, caption);
    out_->open("tbody");
    for (const TableGrid::Row& row : grid.rows()) {
        out_->open("tr");
        for (const TableGrid::Cell& cell : row.cells) {
            writeCell(cell, row.isHead);
        }
        out_->close();
    }
    out_->close().close().close();
    for (const XmlNode* loose : grid.loose()) {
        Place place(counts_);
        writeLoose(*loose, place);
        leave(place);
    }
}

/// A paragraph that is the caption, and what the table says of itself.
void Blocks::writeTableCaption(const XmlNode& table, const XmlNode* caption) {
    const std::string words = wordsAboutTable(table);
    if (caption == nullptr && words.empty()) {
        return;
    }
    out_->open("caption");
    if (caption != nullptr) {
        out_->append(inlineOf(piecesOf(*caption)));
    }
    if (!words.empty()) {
        out_->text(caption == nullptr ? "" : " ").element("span", {{"class", "remark"}}, words);
    }
    out_->close();
}

void Blocks::writeCell(const TableGrid::Cell& cell, bool isHead) {
    const std::string across = std::to_string(cell.columns);
    const std::string down = std::to_string(cell.rows);
    // The head of a column has words, and no headings of its own.
    const bool isName =
        isHead && cell.node != nullptr && !isBlankText(cell.node->allText()) && !hasHeadings(*cell.node);
    if (isName) {
        out_->open("th", {{"scope", cell.columns > 1 ? "colgroup" : "col"}, {"colspan", across}, {"rowspan", down}});
    } else {
        out_->open("td", {{"colspan", across}, {"rowspan", down}});
    }
    if (cell.node != nullptr) {
        writeInside(*cell.node);
    }
    out_->close();
}

}  // namespace flowbook::kit
