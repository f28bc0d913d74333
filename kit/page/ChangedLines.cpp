// The table of lines that changed. It compares what a page shows, not the markup: a line is a line of code, or of what
// a paragraph shows as text, pictures by their words. Rows, and the length of lines that are compared word by word, are
// limited, so that a page of two versions that have nothing in common can still be opened.
#include "kit/page/ChangedLines.hpp"

#include "kit/compare/Differences.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/page/BlockKinds.hpp"
#include "kit/page/CodeTree.hpp"
#include "kit/page/TableGrid.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>

namespace flowbook::kit {

namespace {

constexpr std::size_t kAround = 3;
constexpr char kBeside[] = "beside";
constexpr std::size_t kMostRows = 20000;
constexpr std::size_t kLongestForWords = 10000;

/// Takes the lines from a document's tree.
class LineCollector {
public:
    void collect(const XmlNode& node, bool isBody) {
        for (const XmlNode& child : node.children) {
            collectOne(child, isBody);
        }
    }

    std::vector<VersionLine> take() { return std::move(lines_); }

private:
    void collectOne(const XmlNode& node, bool isBody) {
        if (node.local == "AlternateContent") {
            forEachShown(node, [&](const XmlNode& each) { collectOne(each, false); });
        } else if (node.local == "p") {
            addParagraph(node, isBody);
        } else if (node.local == "tbl") {
            if (const std::string words = wordsAboutTable(node); !words.empty()) {
                addLines(words, "Table", false);
            }
            collect(node, false);
        } else if (holdsBlocks(node)) {
            collect(node, false);
        } else if (!isSettings(node)) {
            XmlNode loose;  // what stands outside of any paragraph
            loose.children.push_back(node);
            addParagraph(loose, false);
        }
    }

    void addParagraph(const XmlNode& paragraph, bool isBody) {
        const XmlNode* const code = isBody ? codeIn(paragraph) : nullptr;
        if (code != nullptr) {
            addLines(code->allText(), "", true);
        }
        const std::string text = textBeside(code, paragraph);
        const XmlNode* const properties = paragraph.child("pPr");
        const std::string style(properties == nullptr ? "" : properties->valueOf("pStyle"));
        if (!isBlankText(text)) {
            addLines(text, code != nullptr ? kBeside : style, false);
        }
        for (const Piece& piece : piecesOf(paragraph)) {
            if (piece.kind == Piece::Kind::Blocks) {
                XmlNode box;
                box.children.push_back(*piece.node);
                collect(box, false);
            }
        }
    }

    /// What a paragraph shows in words, but for its code.
    static std::string textBeside(const XmlNode* code, const XmlNode& paragraph) {
        std::string text;
        for (const Piece& piece : piecesOf(paragraph)) {
            if (piece.kind == Piece::Kind::Formula) {
                text += piece.node->allText();
            } else if (piece.kind == Piece::Kind::Picture) {
                text += "[picture " + (piece.words.empty() ? piece.text : piece.words) + "]";
            } else if (isInline(piece) && (code == nullptr || piece.node != code)) {
                text += piece.kind == Piece::Kind::Remark ? "[" + piece.text + "]" : piece.text;
            }
        }
        return text;
    }

    void addLines(std::string_view text, const std::string& label, bool isCode) {
        for (bool isMore = true; isMore;) {
            const std::size_t end = text.find('\n');
            isMore = end != std::string_view::npos;
            lines_.push_back({std::string(text.substr(0, end)), isCode ? std::to_string(++number_) : label, isCode});
            text.remove_prefix(isMore ? end + 1 : 0);
        }
    }

    std::vector<VersionLine> lines_;
    std::size_t number_ = 0;
};

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
    // Words that two different lines share by chance would be read as what stayed.
    if (4 * changed > 3 * (before.size() + after.size())) {
        a.marks = {{0, a.words.size()}};
        b.marks = {{0, b.words.size()}};
    }
    return {std::move(a), std::move(b)};
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
        ++(may ? rows_ : unshown_);
        return may;
    }

    /// Long stretches without a change would hide the changes, so only the lines next to one are shown.
    /// The lines up to the next difference, or those next to it where there are many.
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
        for (std::size_t i = 0; i < std::max(removed, added); ++i) {
            if (!mayWrite()) {
                continue;
            }
            const VersionLine* const a = i < removed ? &(*before_)[each.aBegin + i] : nullptr;
            const VersionLine* const b = i < added ? &(*after_)[each.bBegin + i] : nullptr;
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

    void writeCell(const VersionLine& line, const MarkedLine* marks, const std::string& kind, const std::string& side) {
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

/// Lines as they are compared: code and a paragraph of the same text differ.
std::vector<std::string> keysOf(const std::vector<VersionLine>& lines) {
    std::vector<std::string> keys;
    keys.reserve(lines.size());
    for (const VersionLine& line : lines) {
        keys.push_back((line.isCode ? "code\n" : line.label + "\n") + line.text);
    }
    return keys;
}

}  // namespace

std::vector<VersionLine> linesOf(const Document& document) {
    const std::optional<opc::model::Part> part = document.codePart();
    if (!part || formOf(*part) == CodeForm::Encrypted) {
        return {};
    }
    const fl::Bytes stored = contentOf(*part);
    const CodeTree code = readCodeTree(stored, document.where(*part));
    LineCollector collector;
    if (const XmlNode* const root = code.tree.root()) {
        const XmlNode* const body = root->child(kWordNamespace, "body");
        for (const XmlNode& child : root->children) {
            collector.collect(child, &child == body);
        }
    }
    std::vector<VersionLine> lines = collector.take();
    if (code.rest) {
        lines.push_back({textIn(stored, *code.rest), "as stored", false});
    }
    return lines;
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
    const std::vector<std::string> a = keysOf(before);
    const std::vector<std::string> b = keysOf(after);
    const std::vector<Difference> differences = differencesOf({a.begin(), a.end()}, {b.begin(), b.end()});
    if (differences.empty()) {
        return {};
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
    return rows.count();
}

}  // namespace flowbook::kit
