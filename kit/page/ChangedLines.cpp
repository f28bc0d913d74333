// The table of lines that changed. It compares what a page shows, not the markup: a line is a line of code, or of what
// a paragraph shows as text, pictures by their words. Rows, and the length of lines that are compared word by word, are
// limited, so that a page of two versions that have nothing in common can still be opened.
#include "kit/page/ChangedLines.hpp"

#include "kit/compare/Differences.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/page/BlockKinds.hpp"
#include "kit/page/CodeTree.hpp"
#include "kit/page/Description.hpp"
#include "kit/page/TableGrid.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <functional>
#include <utility>

namespace flowbook::kit {

namespace {

// As many lines around a change as diff(1) shows with -u.
constexpr std::size_t kAround = 3;
// The label of text that stands in a paragraph of code, which has no number of its own.
constexpr char kBeside[] = "beside";
// A browser lays out a table of so many rows in seconds. Comparing words takes time that grows with their square.
constexpr std::size_t kMostRows = 20000;
constexpr std::size_t kLongestForWords = 10000;

/// A line that is put together from pieces, with how each stretch of it looks.
class LookedLine {
public:
    explicit LookedLine(const VersionLine& start) : start_(start), line_(start) {}

    void add(std::string_view text, const std::string& look) {
        if (!text.empty() && look != last_) {
            // Lengths are part of the look, so that a stretch that became longer or shorter is seen as a change of it.
            line_.look += std::to_string(length_) + last_ + ";";
            last_ = look;
            length_ = 0;
        }
        line_.text += text;
        length_ += text.size();
    }

    /// Ends the line and begins the next one.
    VersionLine take() {
        line_.look += std::to_string(length_) + last_;
        last_.clear();
        length_ = 0;
        return std::exchange(line_, start_);
    }

private:
    VersionLine start_;
    VersionLine line_;
    std::string last_;
    std::size_t length_ = 0;
};

/// Takes the lines from a document's tree.
class LineCollector {
public:
    explicit LineCollector(const Document& document) : definitions_(document), description_(document, definitions_) {}

    void collect(const XmlNode& node, bool isBody) {
        for (const XmlNode& child : node.children) {
            collectOne(child, isBody);
        }
    }

    VersionText take() { return {std::move(lines_), std::hash<std::string>()(around_)}; }

private:
    void collectOne(const XmlNode& node, bool isBody) {
        if (node.local == "AlternateContent") {
            // Only what a page shows of the alternatives counts. The library finds no code in them, so here it is none
            // too.
            forEachShown(node, [&](const XmlNode& each) { collectOne(each, false); });
        } else if (node.local == "p") {
            addParagraph(node, isBody);
        } else if (isBlock(node) || holdsBlocks(node)) {
            around_ += "<" + description_.ofTag(node);
            collectInside(node);
            around_ += ">";
        } else if (isSettings(node)) {
            around_ += description_.ofMarkup(node);
        } else {
            XmlNode loose;  // what stands outside of any paragraph
            loose.children.push_back(node);
            addParagraph(loose, false);
        }
    }

    void collectInside(const XmlNode& node) {
        if (const std::string words = wordsAboutTable(node); !words.empty()) {
            addLines({words, "Table"});
        }
        collect(node, false);
    }

    void addParagraph(const XmlNode& paragraph, bool isBody) {
        const XmlNode* const code = isBody ? codeIn(paragraph) : nullptr;
        const std::vector<Piece> pieces = piecesOf(paragraph, &definitions_.styles());
        VersionLine line{"", std::string(styleOf(paragraph)), false, description_.ofParagraph(paragraph)};
        // The markup itself is never shown, so its hash is enough to see that it changed, and takes no memory of its
        // size.
        line.markup = std::hash<std::string>()(description_.ofMarkup(paragraph));
        if (code != nullptr) {
            addLines({code->allText(), "", true, line.look, line.markup});
            // The code has its own lines, with numbers; what stands beside it in the paragraph follows without one.
            line.label = kBeside;
        }
        addText(pieces, code, line);
        for (const Piece& piece : pieces) {
            if (piece.kind == Piece::Kind::Blocks) {
                collectOne(*piece.node, false);
            }
        }
    }

    /// Adds what a paragraph shows in words, but for its code. A blank paragraph is a line too, unless it only holds a
    /// box or the like.
    void addText(const std::vector<Piece>& pieces, const XmlNode* code, const VersionLine& start) {
        const auto isOfText = [&](const Piece& piece) {
            return piece.kind != Piece::Kind::Blocks && (code == nullptr || piece.node != code);
        };
        const bool isBlank = std::none_of(pieces.begin(), pieces.end(),
                                          [&](const Piece& each) { return isOfText(each) && isShown(each); });
        const bool hasBoxes = !std::all_of(pieces.begin(), pieces.end(), isOfText);
        if (isBlank && hasBoxes) {
            return;
        }
        LookedLine line(start);
        for (const Piece& piece : pieces) {
            if (isOfText(piece) && piece.kind != Piece::Kind::Bookmark) {
                const std::string text = wordsOf(piece);
                const std::string look = description_.ofPiece(piece);
                std::string_view rest = text;
                for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
                    line.add(rest.substr(0, end), look);
                    lines_.push_back(line.take());
                    rest.remove_prefix(end + 1);
                }
                line.add(rest, look);
            }
        }
        lines_.push_back(line.take());
    }

    static std::string wordsOf(const Piece& piece) {
        switch (piece.kind) {
        case Piece::Kind::Formula:
            return piece.node->allText();
        case Piece::Kind::Picture:
            return "[picture" + (piece.words.empty() ? "" : " " + piece.words) + "]";
        case Piece::Kind::Remark:
            return "[" + piece.text + "]";
        default:
            return piece.text;
        }
    }

    /// Adds a line for each of the given one's text.
    void addLines(const VersionLine& whole) {
        std::string_view text = whole.text;
        // An empty text is a line too, and a line feed at the end begins another one.
        for (bool isMore = true; isMore;) {
            const std::size_t end = text.find('\n');
            isMore = end != std::string_view::npos;
            lines_.push_back(whole);
            lines_.back().text = text.substr(0, end);
            lines_.back().label = whole.isCode ? std::to_string(++number_) : whole.label;
            text.remove_prefix(isMore ? end + 1 : 0);
        }
    }

    Definitions definitions_;
    Description description_;
    std::vector<VersionLine> lines_;
    std::string around_;
    std::size_t number_ = 0;
};

// Bytes of 0x80 and above belong to words, so no character of UTF-8 is cut in the middle.
bool isWordByte(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || (c & 0x80) != 0; }

std::vector<std::string_view> wordsIn(std::string_view line) {
    std::vector<std::string_view> words;
    while (!line.empty()) {
        const auto* const end = std::find_if_not(line.begin(), line.end(), isWordByte);
        const auto length = std::max<std::size_t>(static_cast<std::size_t>(end - line.begin()), 1);
        words.push_back(line.substr(0, length));
        line.remove_prefix(length);
    }
    return words;
}

std::size_t lengthOf(const std::vector<std::string_view>& words, std::size_t begin, std::size_t end) {
    std::size_t length = 0;
    for (; begin < end; ++begin) {
        length += words[begin].size();
    }
    return length;
}

/// A line whose words differ in some places from those of another.
struct MarkedLine {
    std::vector<std::string_view> words;
    std::vector<std::pair<std::size_t, std::size_t>> marks;

    void write(Markup& out, Markup::Name element) const {
        std::size_t at = 0;
        for (const auto& [begin, end] : marks) {
            writeWords(out, at, begin);
            if (begin != end) {
                out.open(element);
                writeWords(out, begin, end);
                out.close();
            }
            at = end;
        }
        writeWords(out, at, words.size());
    }

    void writeWords(Markup& out, std::size_t begin, std::size_t end) const {
        std::string text;
        for (; begin < end; ++begin) {
            text += words[begin];
        }
        out.text(text);
    }
};

/// Marks what differs in two lines; lines that have little in common are marked whole.
std::pair<MarkedLine, MarkedLine> markedLines(std::string_view before, std::string_view after) {
    const bool isLong = before.size() + after.size() > kLongestForWords;
    MarkedLine a{isLong ? std::vector<std::string_view>{before} : wordsIn(before), {}};
    MarkedLine b{isLong ? std::vector<std::string_view>{after} : wordsIn(after), {}};
    std::size_t changed = 0;
    for (const Difference& each : differencesOf(a.words, b.words)) {
        a.marks.emplace_back(each.aBegin, each.aEnd);
        b.marks.emplace_back(each.bBegin, each.bEnd);
        changed += lengthOf(a.words, each.aBegin, each.aEnd) + lengthOf(b.words, each.bBegin, each.bEnd);
    }
    // Words that two different lines share by chance would be read as what stayed, so a line is marked whole when more
    // than three quarters of it changed.
    if (4 * changed > 3 * (before.size() + after.size())) {
        a.marks = {{0, a.words.size()}};
        b.marks = {{0, b.words.size()}};
    }
    return {std::move(a), std::move(b)};
}

/// Lines as they are compared: code and a paragraph of the same text differ.
std::vector<std::string> keysOf(const std::vector<VersionLine>& lines, std::size_t begin, std::size_t end) {
    std::vector<std::string> keys;
    keys.reserve(end - begin);
    for (; begin < end; ++begin) {
        const VersionLine& line = lines[begin];
        // A line feed cannot stand in a label or a line, so no two different lines have one key. The numbers of code
        // lines are left out: one added line would change all that follow.
        keys.push_back((line.isCode ? "code\n" : line.label + "\n") + line.text);
    }
    return keys;
}

/// The same with their looks.
std::vector<std::string> fullKeysOf(const std::vector<VersionLine>& lines) {
    std::vector<std::string> keys = keysOf(lines, 0, lines.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        keys[i] += "\n" + lines[i].look;
    }
    return keys;
}

/// Writes the rows of the table.
class RowWriter {
public:
    RowWriter(Markup& out, const std::vector<VersionLine>& before, const std::vector<VersionLine>& after)
        : out_(&out), before_(&before), after_(&after) {}

    void write(const std::vector<Difference>& differences) {
        std::size_t a = 0;
        for (std::size_t i = 0; i < differences.size(); ++i) {
            const Difference& each = differences[i];
            writeSame(a, each.aBegin, each.bBegin, i == 0);
            writeDifference(each);
            a = each.aEnd;
            b_ = each.bEnd;
        }
        writeSame(a, before_->size(), after_->size(), false, true);
        if (unshown_ != 0) {
            writeGap(counted(unshown_, "more row") + " left out");
        }
    }

    ChangesCount count() const { return count_; }

private:
    bool mayWrite() {
        const bool may = rows_ < kMostRows;
        // Rows beyond the limit are counted and not written; the count of changes has them all.
        ++(may ? rows_ : unshown_);
        return may;
    }

    /// Writes the lines up to the next difference. Where there are many, only those next to a difference are shown,
    /// since long stretches without a change would hide the changes.
    void writeSame(std::size_t begin, std::size_t end, std::size_t bEnd, bool isFirst, bool isLast = false) {
        const std::size_t count = end - begin;
        const std::size_t head = isFirst ? 0 : std::min(count, kAround);
        const std::size_t tail = isLast ? 0 : std::min(count - head, kAround);
        for (std::size_t i = 0; i < head; ++i) {
            writePair(begin + i, bEnd - count + i);
        }
        if (count > head + tail) {
            writeGap(counted(count - head - tail, "line") + " unchanged");
        }
        for (std::size_t i = count - tail; i < count; ++i) {
            writePair(begin + i, bEnd - count + i);
        }
    }

    void writePair(std::size_t a, std::size_t b) {
        if (mayWrite()) {
            out_->open("tr", {{"class", "same"}});
            writeCell((*before_)[a], nullptr, "", "");
            writeCell((*after_)[b], nullptr, "", "after");
            out_->close();
        }
    }

    void writeDifference(const Difference& each) {
        const std::size_t removed = each.aEnd - each.aBegin;
        const std::size_t added = each.bEnd - each.bBegin;
        count_.removed += removed;
        count_.added += added;
        // The difference was found with looks. Without them some lines may be the same; these stand beside each other.
        // Lines whose text is the same stand beside each other.
        const std::vector<std::string> a = keysOf(*before_, each.aBegin, each.aEnd);
        const std::vector<std::string> b = keysOf(*after_, each.bBegin, each.bEnd);
        std::size_t at = 0, atB = 0;
        for (const Difference& inside : differencesOf({a.begin(), a.end()}, {b.begin(), b.end()})) {
            writeSameTexts(each.aBegin + at, each.bBegin + atB, inside.aBegin - at);
            writeLines(each.aBegin + inside.aBegin, each.aBegin + inside.aEnd, each.bBegin + inside.bBegin,
                       each.bBegin + inside.bEnd);
            at = inside.aEnd;
            atB = inside.bEnd;
        }
        writeSameTexts(each.aBegin + at, each.bBegin + atB, a.size() - at);
    }

    /// Lines that only look different.
    void writeSameTexts(std::size_t a, std::size_t b, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (mayWrite()) {
                out_->open("tr");
                writeCell((*before_)[a + i], nullptr, "removed", "");
                writeCell((*after_)[b + i], nullptr, "added", "after", "[the same text, which looks different]");
                out_->close();
            }
        }
    }

    void writeLines(std::size_t aBegin, std::size_t aEnd, std::size_t bBegin, std::size_t bEnd) {
        const std::size_t removed = aEnd - aBegin;
        const std::size_t added = bEnd - bBegin;
        for (std::size_t i = 0; i < std::max(removed, added); ++i) {
            if (!mayWrite()) {
                continue;
            }
            const VersionLine* const a = i < removed ? &(*before_)[aBegin + i] : nullptr;
            const VersionLine* const b = i < added ? &(*after_)[bBegin + i] : nullptr;
            out_->open("tr");
            if (a != nullptr && b != nullptr) {
                const auto [marksOfA, marksOfB] = markedLines(a->text, b->text);
                writeCell(*a, &marksOfA, "removed", "");
                writeCell(*b, &marksOfB, "added", "after");
            } else {
                a != nullptr ? writeCell(*a, nullptr, "removed", "") : writeNothing();
                b != nullptr ? writeCell(*b, nullptr, "added", "after") : writeNothing();
            }
            out_->close();
        }
    }

    void writeNothing() { out_->element("td", {{"class", "nothing"}}, "").element("td", {{"class", "nothing"}}, ""); }

    void writeCell(const VersionLine& line, const MarkedLine* marks, const std::string& kind, const std::string& side,
                   std::string_view remark = {}) {
        const std::string kinds = kind + (kind.empty() || side.empty() ? "" : " ") + side;
        out_->element("td", {{"class", kinds + (kinds.empty() ? "place" : " place")}}, line.label);
        out_->open("td", {{"class", kinds + (line.isCode             ? " code"
                                             : line.label == kBeside ? " aside"
                                                                     : "")},
                          {"translate", line.isCode ? "no" : "yes"}});
        if (kind.empty()) {
            out_->text(line.text);
        } else {
            kind == "removed" ? out_->open("del") : out_->open("ins");
            marks == nullptr ? static_cast<void>(out_->text(line.text)) : marks->write(*out_, "mark");
            out_->close();
        }
        if (!remark.empty()) {
            out_->text(" ").element("span", {{"class", "remark"}}, remark);
        }
        out_->close();
    }

    void writeGap(const std::string& words) {
        out_->open("tr", {{"class", "gap"}}).element("td", {{"colspan", "4"}}, words).close();
    }

    Markup* out_;
    const std::vector<VersionLine>* before_;
    const std::vector<VersionLine>* after_;
    ChangesCount count_;
    std::size_t b_ = 0;
    std::size_t rows_ = 0;
    std::size_t unshown_ = 0;
};

/// How many lines are the same but for markup that no page shows.
std::size_t countOtherMarkup(const std::vector<VersionLine>& before, const std::vector<VersionLine>& after,
                             const std::vector<Difference>& differences) {
    std::size_t count = 0;
    std::size_t a = 0;
    std::size_t b = 0;
    for (std::size_t i = 0; i <= differences.size(); ++i) {
        const bool isRest = i == differences.size();
        for (const std::size_t end = isRest ? before.size() : differences[i].aBegin; a < end; ++a, ++b) {
            count += before[a].markup == after[b].markup ? 0 : 1;
        }
        a = isRest ? a : differences[i].aEnd;
        b = isRest ? b : differences[i].bEnd;
    }
    return count;
}

}  // namespace

VersionText textOf(const Document& document, const fl::Bytes& remains) {
    const std::optional<opc::model::Part> part = document.codePart();
    if (!part || formOf(*part) == CodeForm::Encrypted) {
        return {};
    }
    const fl::Bytes stored = remains.empty() ? contentOf(*part) : remains;
    const CodeTree code = readCodeTree(stored, document.where(*part));
    LineCollector collector(document);
    if (const XmlNode* const root = code.tree.root()) {
        const XmlNode* const body = root->child(kWordNamespace, "body");
        for (const XmlNode& child : root->children) {
            collector.collect(child, &child == body);
        }
    }
    VersionText text = collector.take();
    if (code.rest) {
        text.lines.push_back({textIn(stored, *code.rest), "as stored", false});
    }
    return text;
}

std::vector<VersionLine> linesOf(const std::string& text) {
    std::vector<VersionLine> lines{{"", "1", true}};
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\n') {
            lines.back().text += text[at];
        }
        // XML is often written as one line; between two elements it is cut, so that a change is found.
        if (text[at] == '\n' || text.compare(at, 2, "><") == 0) {
            lines.push_back({"", std::to_string(lines.size() + 1), true});
        }
    }
    return lines;
}

ChangesCount writeChangedLines(Markup& out, std::string_view label, const std::vector<VersionLine>& before,
                               const std::vector<VersionLine>& after) {
    const std::vector<std::string> a = fullKeysOf(before);
    const std::vector<std::string> b = fullKeysOf(after);
    const std::vector<Difference> differences = differencesOf({a.begin(), a.end()}, {b.begin(), b.end()});
    const std::size_t otherMarkup = countOtherMarkup(before, after, differences);
    if (differences.empty()) {
        return {0, 0, otherMarkup};
    }
    out.open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
    out.open("table", {{"class", "changes"}}).open("colgroup");
    for (std::size_t side = 0; side < 2; ++side) {
        out.single("col", {{"class", "place"}}).single("col");
    }
    out.close().open("thead").open("tr");
    out.element("th", {{"scope", "colgroup"}, {"colspan", "2"}}, "Before");
    out.element("th", {{"scope", "colgroup"}, {"colspan", "2"}}, "After").close().close().open("tbody");
    RowWriter rows(out, before, after);
    rows.write(differences);
    out.close().close().close();
    ChangesCount count = rows.count();
    count.otherMarkup = otherMarkup;
    return count;
}

}  // namespace flowbook::kit
