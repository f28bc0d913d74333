// Cuts a document into lines that can be compared. Two lines are equal when people see the same, so white space between
// tags, the order of attributes, prefixes and the marks of editing sessions do not count. What does count of a
// paragraph is spelled into one string, its style, with characters between the pieces that no XML can hold.
#include "kit/compare/ParagraphLines.hpp"

#include "kit/document/CodeParagraphs.hpp"
#include "opc/Exception.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

// Stand between the pieces of a style; no XML can hold them.
constexpr char kStyleStart = '\1', kStyleAttribute = '\2', kStyleValue = '\3', kStyleText = '\4', kStyleEnd = '\5',
               kStyleCode = '\6';

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";

/// Attributes that say nothing of how an element looks: that its white space counts, as it does anyway, and in which
/// session of an editor it was changed.
bool isStyle(const XmlName& name) {
    return !name.is(kXmlNamespace, "space") && !(name.ns == kWordNamespace && name.local.substr(0, 4) == "rsid");
}

/// Whether white space counts between the tags of an element.
bool holdsText(const std::string& local) { return local == "t" || local == "delText" || local == "instrText"; }

/// Makes the style of each block, and of what is around them.
class StyleHandler : public XmlHandler {
public:
    /// @param codeTexts  what does not count as style, in document order.
    StyleHandler(const RichText& text, const SpellReference& compared) : compared_(compared), body_(text.body) {
        for (const Paragraph& paragraph : text.paragraphs) {
            if (paragraph.code) {
                codes_.push_back(paragraph.codeText);
            }
        }
    }

    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan tag) override {
        flush();
        if (open_.size() == 2 && isInBody(tag)) {
            styles.emplace_back();
            texts.emplace_back();
        }
        rootTag = open_.empty() ? tag : rootTag;
        std::string& style = current(tag);
        style.append(1, kStyleStart).append(name.ns).append(1, kStyleAttribute).append(name.local);
        addAttributes(style, attributes);
        open_.emplace_back(name.local);
        if (code_ < codes_.size() && codes_[code_].begin == tag.end) {
            style += kStyleCode;
            isCode_ = true;
        }
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        flush();
        current(tag) += kStyleEnd;
        open_.pop_back();
        code_ += isCode_ ? 1 : 0;
        isCode_ = false;
    }

    void characters(std::string_view text) override {
        if (!isCode_) {
            text_.append(text);
        }
    }

    void namespaceDeclared(std::string_view prefix, std::string_view uri) override {
        if (open_.size() < 2 && styles.empty()) {
            namespaces[std::string(prefix)] = uri;
        }
    }

    std::vector<std::string> styles, texts;  ///< of the blocks
    std::string frame;
    std::map<std::string, std::string> namespaces;
    XmlSpan rootTag{};

private:
    bool isInBody(XmlSpan tag) const { return tag.begin >= body_.begin && tag.begin < body_.end; }

    std::string& current(XmlSpan tag) {
        isInBlock_ = open_.size() >= 2 && isInBody(tag) && !styles.empty();
        return isInBlock_ ? styles.back() : frame;
    }

    void addAttributes(std::string& style, const std::vector<XmlAttribute>& attributes) const {
        std::vector<std::string> all;
        for (const XmlAttribute& each : attributes) {
            if (isStyle(each.name)) {
                const std::string value(each.value);
                all.push_back(kStyleAttribute + std::string(each.name.ns) + kStyleAttribute +
                              std::string(each.name.local) + kStyleValue +
                              (isReference(each.name) && !value.empty() ? compared_(value) : value));
            }
        }
        std::sort(all.begin(), all.end());
        for (const std::string& each : all) {
            style += each;
        }
    }

    void flush() {
        const bool isSpace = text_.find_first_not_of(" \t\r\n") == std::string::npos;
        if (!text_.empty() && (!isSpace || (!open_.empty() && holdsText(open_.back())))) {
            (isInBlock_ ? styles.back() : frame).append(1, kStyleText).append(text_);
            if (isInBlock_) {
                texts.back() += text_;
            }
        }
        text_.clear();
    }

    const SpellReference& compared_;
    XmlSpan body_;
    std::vector<XmlSpan> codes_;
    std::size_t code_ = 0;
    bool isCode_ = false;
    bool isInBlock_ = false;
    std::vector<std::string> open_;
    std::string text_;
};

/// Whether the code of a paragraph is all that its element holds, so that it can be written anew.
bool isReplaceable(std::string_view document, const Paragraph& paragraph) {
    std::string_view text =
        document.substr(paragraph.codeText.begin, paragraph.codeText.end - paragraph.codeText.begin);
    constexpr std::string_view kCdata = "<![CDATA[";
    for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<')) {
        if (text.substr(at, kCdata.size()) != kCdata) {
            return false;
        }
        text.remove_prefix(text.find("]]>", at));
    }
    return true;
}

std::vector<std::string> codeLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    lines.push_back(text.substr(begin));
    return lines;
}

}  // namespace

std::optional<ParagraphLines> ParagraphLines::cut(const fl::Bytes& document, std::vector<Reference> references,
                                                  const SpellReference& compared) {
    RichText text = readRichText(document, "");
    // Nothing can be put into <w:body/>.
    const bool isOneTag = text.body.begin > 1 && document[text.body.begin - 2] == '/';
    if (!text.fault.empty() || text.body.begin == 0 || isOneTag) {
        return std::nullopt;
    }
    ParagraphLines lines;
    lines.document_.assign(document.begin(), document.end());
    lines.references_ = std::move(references);
    for (Paragraph& paragraph : text.paragraphs) {
        if (paragraph.code && !isReplaceable(lines.document_, paragraph)) {
            paragraph.code.reset();
        }
    }
    StyleHandler handler(text, compared);
    readXml(document, "", XmlEncoding::Utf8, handler);
    lines.namespaces_ = std::move(handler.namespaces);
    lines.frameStyle_ = std::move(handler.frame);
    lines.rootAttributes_ = lines.document_.find_first_of(" \t\r\n/>", handler.rootTag.begin);
    lines.addBlocks(std::move(text), std::move(handler.styles), std::move(handler.texts));
    return lines;
}

void ParagraphLines::addBlocks(RichText&& text, std::vector<std::string>&& styles, std::vector<std::string>&& texts) {
    std::size_t begin = text.body.begin;
    auto paragraph = text.paragraphs.begin();
    for (std::size_t i = 0; i < text.blocks.size(); ++i) {
        const std::size_t end = text.blocks[i].end;
        blocks_.push_back({{begin, end}, std::move(styles[i]), std::move(texts[i]), {}});
        for (; paragraph != text.paragraphs.end() && paragraph->span.begin < end; ++paragraph) {
            if (paragraph->code) {
                paragraph->runs.clear();
                blocks_.back().paragraph = std::move(*paragraph);
            }
        }
        const std::optional<std::string>& code = blocks_.back().paragraph.code;
        std::size_t number = 0;
        for (std::string& line : codeLines(code.value_or(""))) {
            lines_.push_back({i, number++, std::move(line)});
        }
        begin = end;
    }
    head_ = {0, text.body.begin};
    tail_ = {begin, document_.size()};
}

std::string ParagraphLines::keyOf(const BlockLine& line, bool withStyle) const {
    const MergeBlock& block = blocks_[line.block];
    if (!block.paragraph.code) {
        return block.style;
    }
    const std::string style = !withStyle ? "" : line.line == 0 ? block.style : std::string(1, kStyleEnd);
    return style + kStyleCode + line.text;
}

std::vector<Reference>::const_iterator ParagraphLines::firstReference(std::size_t from) const {
    return std::lower_bound(references_.begin(), references_.end(), from,
                            [](const Reference& each, std::size_t at) { return each.value.begin < at; });
}

std::vector<std::string> ParagraphLines::idsIn(XmlSpan span) const {
    std::vector<std::string> ids;
    for (auto each = firstReference(span.begin); each != references_.end() && each->value.end <= span.end; ++each) {
        ids.push_back(each->id);
    }
    return ids;
}

std::string ParagraphLines::spelled(XmlSpan span, const SpellReference& spell) const {
    std::string result;
    std::size_t done = span.begin;
    for (auto each = firstReference(span.begin); each != references_.end() && each->value.end <= span.end; ++each) {
        result.append(document_, done, each->value.begin - done).append(spell(each->id));
        done = each->value.end;
    }
    return result.append(document_, done, span.end - done);
}

std::string ParagraphLines::spelled(const MergeBlock& block, const std::optional<std::string>& code,
                                    const SpellReference& spell) const {
    const Paragraph& paragraph = block.paragraph;
    if (!code || code == paragraph.code) {
        return spelled(block.span, spell);
    }
    const std::string before = spelled({block.span.begin, paragraph.codeText.begin}, spell);
    const std::string text = spelled(paragraph.codeText, spell);
    const std::string all = before + text + spelled({paragraph.codeText.end, block.span.end}, spell);
    // The spelling of references before the code may be longer or shorter, so the places of the code have moved.
    Paragraph moved;
    moved.codeText = {before.size(), before.size() + text.size()};
    moved.span = {0, all.size()};
    return withText(all, moved, 0, *code);
}

std::string spelled(std::string_view document, const std::vector<Reference>& references, const SpellReference& spell) {
    std::string result;
    std::size_t done = 0;
    for (const Reference& each : references) {
        result.append(document.substr(done, each.value.begin - done)).append(spell(each.id));
        done = each.value.end;
    }
    return result.append(document.substr(done));
}

}  // namespace flowbook::kit
