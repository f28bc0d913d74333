// The table of lines that changed. It compares what a page shows, not the markup: a line is a line of code, or of what
// a paragraph shows as text, pictures by their words. Rows, and the length of lines that are compared word by word, are
// limited, so that a page of two versions that have nothing in common can still be opened.
#include "kit/page/ChangedLines.hpp"

#include "kit/compare/Differences.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/page/BlockKinds.hpp"
#include "kit/page/ChangedWords.hpp"
#include "kit/page/CodeTree.hpp"
#include "kit/page/Description.hpp"
#include "kit/page/Notes.hpp"
#include "kit/page/TableGrid.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
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
    explicit LineCollector(const Document& document)
        : notes_(document), definitions_(document), description_(document, definitions_) {}

    void collect(const XmlNode& node, bool isBody) {
        for (const XmlNode& child : node.children) {
            collectOne(child, isBody);
        }
    }

    /// The notes in the order in which the page has them. Who wrote them, and when, counts as their look.
    void collectNotes() {
        for (const Notes::Note& note : notes_.all()) {
            if (note_ == nullptr || note_->part != note.part) {
                description_.follow(notes_.relationshipsOf(note));
            }
            note_ = &note;
            collect(*note.text, false);
        }
        note_ = nullptr;
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
            addLines({"", "Table"}, words);
        }
        collect(node, false);
    }

    void addParagraph(const XmlNode& paragraph, bool isBody) {
        const XmlNode* const code = isBody ? codeIn(paragraph) : nullptr;
        const std::vector<Piece> pieces = piecesOf(paragraph, &definitions_.styles());
        VersionLine line{"", std::string(styleOf(paragraph)), false, description_.ofParagraph(paragraph)};
        if (note_ != nullptr) {
            line.label = note_->kind;
            line.look += note_->about + "\n";
        }
        // The markup itself is never shown, so its hash is enough to see that it changed, and takes no memory of its
        // size.
        line.markup = std::hash<std::string>()(description_.ofMarkup(paragraph));
        if (code != nullptr) {
            addLines({"", "", true, line.look, line.markup}, code->allText());
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

    std::string wordsOf(const Piece& piece) const {
        switch (piece.kind) {
        case Piece::Kind::Formula:
            return piece.node->allText();
        case Piece::Kind::Picture:
            return "[picture" + (piece.words.empty() ? "" : " " + piece.words) + "]";
        case Piece::Kind::Remark:
            return "[" + (isNote(piece) ? nameOfNote(*piece.node) : piece.text) + "]";
        default:
            return piece.text;
        }
    }

    bool isNote(const Piece& piece) const { return piece.node != nullptr && notes_.has(nameOfNote(*piece.node)); }

    /// Adds a line for each of the text's. Each takes memory for its own text alone, as there may be any number of
    /// them.
    void addLines(const VersionLine& start, std::string_view text) {
        // An empty text is a line too, and a line feed at the end begins another one.
        for (bool isMore = true; isMore;) {
            const std::size_t end = text.find('\n');
            isMore = end != std::string_view::npos;
            lines_.push_back(start);
            lines_.back().text = text.substr(0, end);
            lines_.back().label = start.isCode ? std::to_string(++number_) : start.label;
            text.remove_prefix(isMore ? end + 1 : 0);
        }
    }

    Notes notes_;
    Definitions definitions_;
    Description description_;
    const Notes::Note* note_ = nullptr;  ///< to which what is read belongs; null for the document
    std::vector<VersionLine> lines_;
    std::string around_;
    std::size_t number_ = 0;
};

void writeWords(Markup& out, const MarkedLine& line, std::size_t begin, std::size_t end) {
    std::string text;
    for (; begin < end; ++begin) {
        text += line.words[begin];
    }
    out.text(text);
}

void writeMarked(Markup& out, const MarkedLine& line) {
    std::size_t at = 0;
    for (const auto& [begin, end] : line.marks) {
        writeWords(out, line, at, begin);
        if (begin != end) {
            out.open("mark");
            writeWords(out, line, begin, end);
            out.close();
        }
        at = end;
    }
    writeWords(out, line, at, line.words.size());
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

std::vector<std::string_view> textsOf(const std::vector<VersionLine>& lines, std::size_t begin, std::size_t end) {
    std::vector<std::string_view> texts;
    for (; begin < end; ++begin) {
        texts.emplace_back(lines[begin].text);
    }
    return texts;
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

    /// A line stands beside the one that it became, which shares most words with it.
    void writeLines(std::size_t aBegin, std::size_t aEnd, std::size_t bBegin, std::size_t bEnd) {
        const std::size_t aStart = aBegin;
        const std::size_t bStart = bBegin;
        for (const auto& [i, j] : likeLines_.pairsOf(textsOf(*before_, aBegin, aEnd), textsOf(*after_, bBegin, bEnd))) {
            writeSideBySide(aBegin, aStart + i, bBegin, bStart + j);
            writeSideBySide(aStart + i, aStart + i + 1, bStart + j, bStart + j + 1);
            aBegin = aStart + i + 1;
            bBegin = bStart + j + 1;
        }
        writeSideBySide(aBegin, aEnd, bBegin, bEnd);
    }

    void writeSideBySide(std::size_t aBegin, std::size_t aEnd, std::size_t bBegin, std::size_t bEnd) {
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
            marks == nullptr ? static_cast<void>(out_->text(line.text)) : writeMarked(*out_, *marks);
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
    LikeLines likeLines_;
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
    collector.collectNotes();
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
