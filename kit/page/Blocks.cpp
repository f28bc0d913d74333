// Writes the blocks of a document in their order. HTML nests what the document only puts in a row: items of a list lie
// in the list, quoted paragraphs in one quote, a caption in its table or figure. So the writer keeps open what the next
// block may belong to, and each block first ends what it does not belong to (leave()).
#include "kit/page/Blocks.hpp"

#include "kit/page/BlockKinds.hpp"
#include "kit/page/Formula.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace flowbook::kit {

namespace {

constexpr int kTwipsOfIndent = 360;
constexpr int kDeepestIndent = 8;

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

/// Whether there is text at all, were it of blanks alone.
bool hasCharacters(const std::vector<Piece>& pieces) {
    return std::any_of(pieces.begin(), pieces.end(), [](const Piece& piece) {
        return isInline(piece) && (piece.kind == Piece::Kind::Text ? !piece.text.empty() : isShown(piece));
    });
}

bool isPictures(const std::vector<Piece>& pieces) {
    return !pieces.empty() && std::all_of(pieces.begin(), pieces.end(), [](const Piece& piece) {
        return piece.kind == Piece::Kind::Picture || !isShown(piece);
    });
}

/// Where the next element after `at` stands among its siblings; their number when there is none.
std::size_t nextElement(const std::vector<XmlNode>& siblings, std::size_t at) {
    do {
        ++at;
    } while (at < siblings.size() && siblings[at].isText() && isBlankText(siblings[at].text));
    return at;
}

/// The pieces that stand in lines. Any other one, which is shown behind its line, leaves a remark in its place where
/// text follows it.
std::vector<Piece> withPlaces(const std::vector<Piece>& pieces) {
    const auto lastShown = std::find_if(pieces.rbegin(), pieces.rend(), [](const Piece& piece) {
                               return isInline(piece) && isShown(piece);
                           }).base();
    std::vector<Piece> line;
    for (auto at = pieces.begin(); at != pieces.end(); ++at) {
        if (isInline(*at)) {
            line.push_back(*at);
        } else if (at < lastShown) {
            const std::string what = at->kind == Piece::Kind::Picture ? "picture"
                                     : at->node->local == "tbl"       ? "table"
                                                                      : "box";
            line.push_back({Piece::Kind::Remark, what + ", below", {}, nullptr, ""});
        }
    }
    return line;
}

/// What the outline calls a heading: its words, and what is said of fields and the like where there is nothing else.
std::string wordsOfHeading(const std::vector<Piece>& pieces) {
    std::string words;
    std::string remarks;
    for (const Piece& piece : pieces) {
        std::string& text = piece.kind == Piece::Kind::Remark ? remarks : words;
        text += piece.kind == Piece::Kind::Formula ? piece.node->allText() : isInline(piece) ? piece.text : "";
    }
    return isBlankText(words) ? remarks : words;
}

}  // namespace

void Blocks::write(const XmlNode* root) {
    const XmlNode* const body = bodyOf(root);
    if (body != nullptr) {
        // The code ends with the last paragraph of it: a line feed at its end begins no line there, and one everywhere
        // else.
        const auto last = std::find_if(body->children.rbegin(), body->children.rend(), [](const XmlNode& each) {
            return each.local == "p" && codeIn(each) != nullptr;
        });
        lastCode_ = last == body->children.rend() ? nullptr : &*last;
    }
    Place place;
    for (std::size_t i = 0; root != nullptr && i < root->children.size(); ++i) {
        const XmlNode& child = root->children[i];
        place.isBody = &child == body;
        place.isBody ? writeChildren(child, place) : writeLoose(child, place);
    }
    leave(place);
    // A link of the page may lead to a bookmark that no block has shown. It then leads to the end and not nowhere.
    for (const std::string& id : links_->idsLeft()) {
        out_->element("span", {{"id", id}}, "");
    }
    listing_.writeRest();
}

void Blocks::writeInside(const XmlNode& node) {
    Place place;
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
        // A caption stands above its table and below its picture, as editors write them.
    } else if (isCaption(node, *definitions_) && follower != nullptr && follower->local == "tbl") {
        leave(place);
        writeTable(*follower, &node);
        return next + 1 - at;
    } else if (!writeCode(node, place)) {
        const bool hasCaption =
            follower != nullptr && isCaption(*follower, *definitions_) && isPictures(plainPiecesIn(node));
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
        // Readers look for code in paragraphs of the body only, not in those of its containers.
        const bool wasBody = std::exchange(place.isBody, false);
        writeChildren(node, place);
        place.isBody = wasBody;
    } else {
        XmlNode parent;
        parent.children.push_back(node);
        const std::vector<Piece> pieces = piecesIn(parent);
        if (std::any_of(pieces.begin(), pieces.end(), isShown)) {
            leave(place, true, true);
            writePieces(pieces, nullptr, "");
        } else if (const Markup places = placesIn(pieces); !places.finished().empty()) {
            leave(place, true, true);
            out_->append(places);
        }
    }
}

bool Blocks::writeCode(const XmlNode& paragraph, Place& place) {
    const XmlNode* const code = place.isBody ? codeIn(paragraph) : nullptr;
    if (code == nullptr) {
        return false;
    }
    const std::vector<Piece> pieces = plainPiecesIn(paragraph);
    const auto at = std::find_if(pieces.begin(), pieces.end(), [&](const Piece& piece) { return piece.node == code; });
    const std::vector<Piece> before(pieces.begin(), at == pieces.end() ? pieces.begin() : at);
    const std::vector<Piece> after(at == pieces.end() ? pieces.begin() : at + 1, pieces.end());
    if (place.isInList || place.isInQuote) {
        leave(place);
    }
    // Numbers of a list run on over code, as the document counts its paragraphs too.
    countItem(paragraph);
    writeApart(before);
    listing_.add(code->allText(), beside(before), beside(after), &paragraph == lastCode_);
    writeApart(after);
    return true;
}

/// Text that stands beside the code, on its line.
Markup Blocks::beside(const std::vector<Piece>& pieces) {
    if (!hasCharacters(pieces)) {
        return placesIn(pieces);
    }
    hasTextBesideCode_ = true;
    Markup out;
    out.open("span", {{"class", "beside"}}).append(inlineOf(withPlaces(pieces))).close();
    return out;
}

/// A code paragraph that readers do not take for code, as it stands in a table or has no text where they look.
void Blocks::writeBesideCode(const std::vector<Piece>& pieces) {
    const auto writeLine = [this](const std::vector<Piece>& line) {
        const std::string label = "Text in the style of code, " + std::to_string(++tableCount_);
        hasTextBesideCode_ = true;
        out_->open("pre", {{"class", "plain"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
        out_->open("code", {{"class", "beside"}, {"translate", "no"}}).append(inlineOf(line)).close().close();
    };
    writeLines(pieces, writeLine, [this](const Piece& piece) { writeApart(piece, nullptr); });
}

Markup Blocks::inlineOf(const std::vector<Piece>& pieces) {
    Markup out;
    InlineWriter writer(out, *links_);
    for (const Piece& piece : pieces) {
        if (isInline(piece)) {
            writer.write(piece);
        }
    }
    return out;
}

/// The places that bookmarks name, where nothing else is to be seen.
Markup Blocks::placesIn(const std::vector<Piece>& pieces) {
    Markup out;
    InlineWriter writer(out, *links_);
    for (const Piece& piece : pieces) {
        if (piece.kind == Piece::Kind::Bookmark) {
            writer.write(piece);
        }
    }
    return out;
}

/// Calls `line` with the pieces that stand in lines, as many as follow each other, and `apart` with each other piece.
void Blocks::writeLines(const std::vector<Piece>& pieces, const std::function<void(const std::vector<Piece>&)>& line,
                        const std::function<void(const Piece&)>& apart) {
    for (auto at = pieces.begin(); at != pieces.end();) {
        const auto end = std::find_if_not(at, pieces.end(), isInline);
        const std::vector<Piece> inLine(at, end);
        hasInlineText(inLine) ? line(inLine) : static_cast<void>(out_->append(placesIn(inLine)));
        at = end;
        if (at != pieces.end()) {
            apart(*at++);
        }
    }
}

std::vector<Piece> Blocks::piecesIn(const XmlNode& paragraph) const {
    const Styles& styles = definitions_->styles();
    return piecesOf(paragraph, &styles, styles.lookOf(paragraph));
}

/// Without what the paragraph's style says of its text, for headings and code, which look as those do.
std::vector<Piece> Blocks::plainPiecesIn(const XmlNode& paragraph) const {
    return piecesOf(paragraph, &definitions_->styles());
}

/// An item counts in its list wherever it stands, and even if there is nothing in it.
Blocks::Item Blocks::countItem(const XmlNode& paragraph) {
    Item item{definitions_->numbering().itemOf(paragraph), {}};
    if (item.kind) {
        item.counted = counts_.next(*item.kind);
    }
    return item;
}

void Blocks::writeParagraph(const XmlNode& paragraph, const XmlNode* caption, Place& place) {
    const int heading = definitions_->styles().headingOf(paragraph);
    // The page's own style shows headings and code. What the document's style says of them would be said twice.
    const bool isPlain = heading != 0 || styleOf(paragraph) == "code";
    const std::vector<Piece> pieces = isPlain ? plainPiecesIn(paragraph) : piecesIn(paragraph);
    const bool isBlank = std::none_of(pieces.begin(), pieces.end(), isShown);
    const Item item = countItem(paragraph);
    // A numbered heading is shown as a heading; its number is written before its words.
    const bool isItem = item.kind && heading == 0;
    if (isBlank && !isItem) {
        writeBlank(pieces, place);
        return;
    }
    const bool isInQuote = heading == 0 && !isItem && definitions_->styles().isCalled(paragraph, "quote");
    leave(place, isItem, isInQuote);
    if (isItem) {
        place.lists.beginItem(*out_, *item.kind, item.counted);
        place.isInList = true;
    } else if (isInQuote && !place.isInQuote) {
        out_->open("blockquote");
        place.isInQuote = true;
    }
    if (styleOf(paragraph) == "code") {
        writeBesideCode(pieces);
    } else if (heading != 0 && hasInlineText(pieces)) {
        writeHeading(heading, item, pieces);
    } else {
        writePieces(pieces, caption, isItem ? "" : classOf(paragraph));
    }
}

std::string Blocks::classOf(const XmlNode& paragraph) const {
    const int indent = indentOf(paragraph);
    const std::string error = definitions_->styles().isCalled(paragraph, "error") ? "error" : "";
    return error + (indent == 0 ? "" : (error.empty() ? "in" : " in") + std::to_string(indent));
}

void Blocks::writeBlank(const std::vector<Piece>& pieces, Place& place) {
    if (hasCharacters(pieces)) {
        leave(place, true, true);
        out_->open("p", {{"dir", "auto"}}).append(inlineOf(pieces)).close();
    } else if (const Markup places = placesIn(pieces); !places.finished().empty()) {
        leave(place, true, true);
        out_->append(places);
    }
}

void Blocks::writePieces(const std::vector<Piece>& pieces, const XmlNode* caption, std::string_view kind) {
    const auto lastApart = std::find_if_not(pieces.rbegin(), pieces.rend(), isInline);
    const auto writeLine = [&](const std::vector<Piece>& line) {
        kind.empty() ? out_->open("p", {{"dir", "auto"}}) : out_->open("p", {{"class", kind}, {"dir", "auto"}});
        std::for_each(line.begin(), line.end(), [this](const Piece& piece) { inline_.write(piece); });
        out_->close();
    };
    writeLines(pieces, writeLine, [&](const Piece& piece) {
        const Markup words = caption != nullptr && &piece == &*lastApart ? inlineOf(piecesIn(*caption)) : Markup();
        writeApart(piece, words.finished().empty() ? nullptr : &words);
    });
}

/// Writes the pieces that do not stand in lines.
void Blocks::writeApart(const std::vector<Piece>& pieces) {
    for (const Piece& piece : pieces) {
        if (!isInline(piece)) {
            listing_.finish();
            writeApart(piece, nullptr);
        }
    }
}

void Blocks::writeApart(const Piece& piece, const Markup* caption) {
    if (piece.kind == Piece::Kind::Picture) {
        figures_->write(*out_, piece.text, piece.words, caption);
        return;
    }
    out_->open("div", {{"class", "box"}});
    Place place;
    if (piece.node->local == "txbxContent") {
        writeChildren(*piece.node, place);
    } else {
        piece.node->local == "tbl" ? writeTable(*piece.node, nullptr) : writeParagraph(*piece.node, nullptr, place);
    }
    leave(place);
    out_->close();
}

/// A heading holds no pictures or boxes: those that begin it stand before it, all others behind it, with a remark in
/// their place.
void Blocks::writeHeading(int style, const Item& item, const std::vector<Piece>& pieces) {
    const auto first = std::find_if(pieces.begin(), pieces.end(),
                                    [](const Piece& piece) { return isInline(piece) && isShown(piece); });
    const std::string text = wordsOfHeading(pieces);
    const bool hasLabel = item.kind && item.kind->levels != nullptr && !isBlankText(item.counted.label);
    const std::vector<Piece> before(pieces.begin(), first);
    out_->append(placesIn(before));
    writeApart(before);
    headings_->open(*out_, style, hasLabel ? item.counted.label : "", text);
    out_->append(inlineOf(withPlaces({first, pieces.end()}))).close();
    writeApart({first, pieces.end()});
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
        Place place;
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
        out_->append(inlineOf(piecesIn(*caption)));
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
    const bool isName = isHead && cell.node != nullptr && !isBlankText(cell.node->allText()) &&
                        !hasHeadings(*cell.node, definitions_->styles());
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
