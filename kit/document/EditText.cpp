// A rich document as a text for an editor: code as it is, and for all else a line that begins with "::" and shows what
// stands there. A line can be moved or removed and not changed, as it only names the block that it stands for. Code
// that was edited gets the markup of the paragraph that it most likely was.
#include "kit/document/EditText.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/References.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

namespace flowbook::kit {

namespace {

constexpr std::string_view kMark = "::";
constexpr std::string_view kOpen = "::{";
constexpr std::string_view kClose = "::}";

/// A child of the body.
struct Block {
    XmlSpan span{};  ///< with what stands before it
    const Paragraph* code = nullptr;
    std::string line;  ///< that stands for it, or opens it; empty for a paragraph that holds nothing but code
};

/// What an edited text has in the place of a block.
struct Item {
    std::optional<std::size_t> block;  ///< that is kept, or that gives its markup to the code
    std::optional<std::string> code;
};

/// On one line and without invisible characters, so that an editor shows and keeps it.
std::string onOneLine(std::string_view utf8) {
    const std::u16string text = fl::i18n::to_ustring(utf8);
    std::u16string line;
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = characterAt(text, at);
        const bool isHiddenOne = isHidden(character);
        line += isHiddenOne ? fl::i18n::to_ustring(escapeOf(character)) : text.substr(at, length);
        at += length;
    }
    return fl::i18n::to_string(line);
}

std::string_view withoutBlanksAtEnd(std::string_view line) { return line.substr(0, line.find_last_not_of(" \t") + 1); }

std::string wordsOf(const Paragraph& paragraph) {
    std::string words;
    for (const Run& run : paragraph.runs) {
        words += run.picture.empty() ? run.text : "[picture " + run.picture + "]";
    }
    return words;
}

/// Cuts a document into the blocks of its body.
class Body {
public:
    explicit Body(const fl::Bytes& document)
        : bytes_(asText(document)),
          text_(requireRichText(document)),
          references_(findReferences(document, "the code")) {
        dropSectionProperties();
        std::size_t begin = text_.body.begin;
        auto paragraph = text_.paragraphs.cbegin();
        for (const XmlSpan& span : text_.blocks) {
            const auto first = std::find_if(paragraph, text_.paragraphs.cend(),
                                            [&](const Paragraph& each) { return each.span.begin >= span.begin; });
            paragraph = std::find_if(first, text_.paragraphs.cend(),
                                     [&](const Paragraph& each) { return each.span.begin >= span.end; });
            addBlock({begin, span.end}, span, {first, paragraph});
            begin = span.end;
        }
    }

    const std::vector<Block>& blocks() const noexcept { return blocks_; }
    std::string_view bytes() const noexcept { return bytes_; }

    /// Builds the document anew around these items.
    fl::Bytes with(const std::vector<Item>& items) const {
        requirePlaceFor(items);
        const std::size_t begin = text_.body.begin;
        const bool isClosedTag = endsWith(bytes_.substr(0, begin), "/>");
        std::string result(bytes_.substr(0, isClosedTag ? begin - 2 : begin));
        result += isClosedTag ? ">" : "";
        for (const Item& item : items) {
            result += markupOf(item);
        }
        result += isClosedTag ? "</" + bodyName() + ">" : "";
        result += bytes_.substr(blocks_.empty() ? begin : blocks_.back().span.end);
        return {result.begin(), result.end()};
    }

private:
    using Paragraphs = std::pair<std::vector<Paragraph>::const_iterator, std::vector<Paragraph>::const_iterator>;

    /// They have to stay the last child of the body, so they are no block that something could be written behind.
    void dropSectionProperties() {
        if (!text_.blocks.empty() && endsWith(nameAt(text_.blocks.back().begin), "sectPr")) {
            text_.blocks.pop_back();
        }
    }

    void addBlock(XmlSpan whole, XmlSpan span, const Paragraphs& paragraphs) {
        Block block{whole, nullptr, ""};
        // A table or a box has paragraphs too, which begin behind its own start.
        const bool isParagraph = paragraphs.first != paragraphs.second && paragraphs.first->span.begin == span.begin;
        std::string words;
        if (isParagraph && paragraphs.first->code) {
            block.code = &*paragraphs.first;
            words = besideCode(paragraphs);
            const bool isAlone = words.empty() && !hasReferences(span);
            block.line = isAlone ? "" : std::string(kOpen) + " [beside]" + words;
        } else {
            const std::string kind = isParagraph ? paragraphs.first->style : "<" + nameAt(span.begin) + ">";
            for (auto each = paragraphs.first; each != paragraphs.second; ++each) {
                words += (each == paragraphs.first ? " " : " | ") + wordsOf(*each);
            }
            block.line = std::string(kMark) + " [" + kind + "]" + words;
        }
        block.line = distinct(std::string(withoutBlanksAtEnd(onOneLine(block.line))), meaningOf(span, block.code));
        blocks_.push_back(std::move(block));
    }

    /// The bytes that a line stands for: those of the block, less its code, which stands in the text itself.
    std::string meaningOf(XmlSpan span, const Paragraph* code) const {
        std::string meaning(bytes_.substr(span.begin, span.end - span.begin));
        return code == nullptr
                   ? meaning
                   : meaning.erase(code->codeText.begin - span.begin, code->codeText.end - code->codeText.begin);
    }

    /// The line, with a number behind it if it already stands for other bytes than these.
    /// Two pictures may show the same words, and moving their lines must not mix them up.
    std::string distinct(const std::string& line, const std::string& meaning) {
        std::string result = line;
        while (!line.empty() && meanings_.emplace(result, meaning).first->second != meaning) {
            std::size_t& number = numbers_.emplace(line, 1).first->second;
            result = line + " (" + std::to_string(++number) + ")";
        }
        return result;
    }

    /// Whether a picture or a link is in a block, which has no words for it perhaps.
    bool hasReferences(XmlSpan span) const {
        const auto first =
            std::lower_bound(references_.begin(), references_.end(), span.begin,
                             [](const Reference& each, std::size_t at) { return each.value.begin < at; });
        return first != references_.end() && first->value.begin < span.end;
    }

    /// What a code paragraph shows besides its code; empty when there is nothing.
    static std::string besideCode(const Paragraphs& paragraphs) {
        const std::string& code = *paragraphs.first->code;
        std::string words = wordsOf(*paragraphs.first);
        words.erase(0, startsWith(words, code) ? code.size() : 0);
        words = words.empty() ? "" : " " + words;
        for (auto each = std::next(paragraphs.first); each != paragraphs.second; ++each) {
            words += " | " + wordsOf(*each);
        }
        return words;
    }

    std::string nameAt(std::size_t tag) const {
        const std::string_view from = bytes_.substr(tag + 1);
        return std::string(from.substr(0, from.find_first_of(" \t\r\n/>")));
    }

    std::string bodyName() const { return nameAt(bytes_.rfind('<', text_.body.begin - 1)); }

    void requirePlaceFor(const std::vector<Item>& items) const {
        if (text_.body.begin == 0 && !items.empty()) {
            throw opc::Exception(opc::ErrorKind::Damaged, "the document has no body that could hold code");
        }
    }

    std::string markupOf(const Item& item) const {
        if (!item.block) {
            // Where the body has another prefix, a new paragraph declares the namespace itself.
            return newCodeParagraph(*item.code, bodyName() != "w:body");
        }
        const Block& block = blocks_[*item.block];
        // Unchanged code keeps its bytes, also the line ends and escapes that the text does not show.
        if (!item.code || *item.code == withLineFeeds(*block.code->code)) {
            return std::string(bytes_.substr(block.span.begin, block.span.end - block.span.begin));
        }
        return withCode(bytes_, *block.code, block.span.begin, *item.code);
    }

    std::string_view bytes_;
    RichText text_;
    std::vector<Reference> references_;
    std::vector<Block> blocks_;
    std::map<std::string, std::string> meanings_;  ///< the bytes that each line stands for
    std::map<std::string, std::size_t> numbers_;   ///< given to lines that would stand for several
};

/// Whether the first character that is no backslash begins the mark.
bool looksMarked(std::string_view line) {
    return startsWith(line.substr(std::min(line.find_first_not_of('\\'), line.size())), kMark);
}

void addCode(std::string& text, const std::string& code) {
    std::size_t at = 0;
    for (bool more = true; more;) {
        const std::size_t end = code.find('\n', at);
        more = end != std::string::npos;
        const std::string line = code.substr(at, end - at);
        text.append(looksMarked(line) ? "\\" : "").append(line).append("\n");
        at = end + 1;
    }
}

/// Reads an edited text line by line.
class Reader {
public:
    Reader(const std::vector<Block>& blocks, std::string_view text) : text_(withLineFeeds(text)), rest_(text_) {
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (!blocks[i].line.empty()) {
                kept_[blocks[i].line].blocks.push_back(i);
            }
        }
    }

    std::vector<Item> read() {
        if (rest_.empty() && !kept_.empty()) {
            // An editor that failed leaves an empty file more often than a user means one.
            fail("the text is empty, and would remove all prose");
        }
        std::vector<Item> items;
        for (std::string_view line; next(line);) {
            if (!startsWith(line, kMark)) {
                items.push_back({std::nullopt, unescaped(line)});
            } else if (startsWith(line, kOpen)) {
                items.push_back(readBlock(line));
            } else if (withoutBlanksAtEnd(line) == kClose) {
                fail("'::}' closes nothing here");
            } else {
                items.push_back({keptBlock(line), std::nullopt});
            }
        }
        return items;
    }

private:
    /// What one wording stands for: blocks of the same bytes.
    struct Kept {
        std::vector<std::size_t> blocks;
        std::size_t used = 0;
        std::size_t line = 0;  ///< at which it was met last
    };

    bool next(std::string_view& line) {
        if (rest_.empty()) {
            return false;
        }
        const std::size_t end = std::min(rest_.find('\n'), rest_.size());
        line = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        ++number_;
        return true;
    }

    Item readBlock(std::string_view opening) {
        Item item;
        const std::size_t opened = number_;
        if (withoutBlanksAtEnd(opening) != kOpen) {
            item.block = keptBlock(opening);
        }
        item.code.emplace();
        bool isFirst = true;
        for (std::string_view line; next(line); isFirst = false) {
            if (withoutBlanksAtEnd(line) == kClose) {
                return item;
            }
            if (startsWith(line, kMark)) {
                fail("code that begins with '::' is written '\\::'");
            }
            item.code->append(isFirst ? "" : "\n").append(unescaped(line));
        }
        number_ = opened;
        fail("the paragraph that begins here is not closed by a line '::}'");
    }

    /// The block that a line stands for, once.
    std::size_t keptBlock(std::string_view line) {
        const auto found = kept_.find(std::string(withoutBlanksAtEnd(line)));
        if (found == kept_.end()) {
            fail("this is prose, which is kept as it is or removed by the line, and none of this wording was there: " +
                 std::string(line));
        }
        Kept& kept = found->second;
        if (kept.used == kept.blocks.size()) {
            fail("this repeats line " + std::to_string(kept.line));
        }
        kept.line = number_;
        return kept.blocks[kept.used++];
    }

    static std::string unescaped(std::string_view line) {
        return std::string(startsWith(line, "\\") && looksMarked(line) ? line.substr(1) : line);
    }

    [[noreturn]] void fail(const std::string& words) const {
        throw opc::Exception(opc::ErrorKind::Misuse, "line " + std::to_string(number_) + ": " + words);
    }

    std::string text_;
    std::string_view rest_;
    std::size_t number_ = 0;
    std::map<std::string, Kept> kept_;
};

/// Gives each piece of code the old paragraph that it most likely was, so that it keeps its markup: pieces that are
/// unchanged and single in both, in their order, and between those one after the other.
class Pairing {
public:
    Pairing(const std::vector<Block>& blocks, std::vector<Item>& items) {
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (blocks[i].line.empty()) {
                old_.emplace_back(i, withLineFeeds(*blocks[i].code->code));
            }
        }
        for (Item& item : items) {
            if (!item.block) {
                fresh_.push_back(&item);
            }
        }
    }

    void run() {
        std::size_t begin = 0;
        while (begin < std::min(old_.size(), fresh_.size()) && isSame(begin, begin)) {
            fresh_[begin]->block = old_[begin].first;
            ++begin;
        }
        std::size_t oldEnd = old_.size();
        std::size_t freshEnd = fresh_.size();
        // Most edits change a few lines, so what is the same at both ends is paired without any search.
        while (oldEnd > begin && freshEnd > begin && isSame(oldEnd - 1, freshEnd - 1)) {
            fresh_[--freshEnd]->block = old_[--oldEnd].first;
        }
        std::size_t oldAt = begin;
        std::size_t freshAt = begin;
        for (const auto& [oldPlace, freshPlace] : anchors(begin, oldEnd, freshEnd)) {
            pairInOrder(oldAt, oldPlace, freshAt, freshPlace);
            fresh_[freshPlace]->block = old_[oldPlace].first;
            oldAt = oldPlace + 1;
            freshAt = freshPlace + 1;
        }
        pairInOrder(oldAt, oldEnd, freshAt, freshEnd);
    }

private:
    using Places = std::vector<std::pair<std::size_t, std::size_t>>;

    struct Occurrence {
        std::size_t count = 0;
        std::size_t place = 0;
    };
    using Occurrences = std::map<std::string_view, Occurrence>;

    bool isSame(std::size_t old, std::size_t fresh) const { return old_[old].second == *fresh_[fresh]->code; }

    static void note(Occurrences& all, std::string_view code, std::size_t place) {
        Occurrence& one = all[code];
        ++one.count;
        one.place = place;
    }

    /// The longest sequence of places, rising on both sides, of code that is single on both.
    Places anchors(std::size_t begin, std::size_t oldEnd, std::size_t freshEnd) const {
        Occurrences olds;
        Occurrences freshes;
        for (std::size_t i = begin; i < oldEnd; ++i) {
            note(olds, old_[i].second, i);
        }
        for (std::size_t i = begin; i < freshEnd; ++i) {
            note(freshes, *fresh_[i]->code, i);
        }
        Places candidates;
        for (std::size_t i = begin; i < oldEnd; ++i) {
            const auto found = freshes.find(old_[i].second);
            if (olds[old_[i].second].count == 1 && found != freshes.end() && found->second.count == 1) {
                candidates.emplace_back(i, found->second.place);
            }
        }
        return longestRising(candidates);
    }

    /// Of pairs that rise in the first place, the longest choice that rises in the second, too (patience sorting).
    static Places longestRising(const Places& all) {
        std::vector<std::size_t> ends;  // the index of the pair that ends the best choice of each length
        std::vector<std::optional<std::size_t>> before(all.size());
        for (std::size_t i = 0; i < all.size(); ++i) {
            const auto place =
                std::lower_bound(ends.begin(), ends.end(), all[i].second,
                                 [&](std::size_t end, std::size_t value) { return all[end].second < value; });
            before[i] = place == ends.begin() ? std::nullopt : std::make_optional(*std::prev(place));
            if (place == ends.end()) {
                ends.push_back(i);
            } else {
                *place = i;
            }
        }
        Places chosen;
        for (auto at = ends.empty() ? std::nullopt : std::make_optional(ends.back()); at; at = before[*at]) {
            chosen.push_back(all[*at]);
        }
        std::reverse(chosen.begin(), chosen.end());
        return chosen;
    }

    void pairInOrder(std::size_t old, std::size_t oldEnd, std::size_t fresh, std::size_t freshEnd) {
        for (; old < oldEnd && fresh < freshEnd; ++old, ++fresh) {
            fresh_[fresh]->block = old_[old].first;
        }
    }

    std::vector<std::pair<std::size_t, std::string>> old_;  ///< blocks that hold nothing but code, with that
    std::vector<Item*> fresh_;
};

}  // namespace

std::string editText(const fl::Bytes& document) {
    const fl::Bytes utf8 = inUtf8(document, "the code");
    const Body body(utf8);
    std::string text;
    for (const Block& block : body.blocks()) {
        const std::string code = block.code == nullptr ? "" : withLineFeeds(*block.code->code);
        const bool isFramed = block.code != nullptr && (!block.line.empty() || code.find('\n') != std::string::npos);
        if (isFramed || block.code == nullptr) {
            text += (block.line.empty() ? std::string(kOpen) : block.line) + "\n";
        }
        if (block.code != nullptr) {
            addCode(text, code);
        }
        text += isFramed ? std::string(kClose) + "\n" : "";
    }
    return text;
}

fl::Bytes withEditText(const fl::Bytes& document, std::string_view text) {
    const fl::Bytes utf8 = inUtf8(document, "the code");
    const Body body(utf8);
    std::vector<Item> items = Reader(body.blocks(), text).read();
    Pairing(body.blocks(), items).run();
    fl::Bytes changed = body.with(items);
    if (changed == utf8) {
        return document;
    }
    return changed;
}

}  // namespace flowbook::kit
