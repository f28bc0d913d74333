#include "kit/compare/ParagraphLines.hpp"

#include "kit/document/RichText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <vector>

namespace flowbook::kit {

namespace {

constexpr std::string_view kBefore = "<w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t>";
constexpr std::string_view kAfter = "</w:t></w:r></w:p>";
constexpr std::string_view kCdataBefore = "<![CDATA[";
constexpr std::string_view kCdataAfter = "]]>";

// What a line stands for.
constexpr char kMarkup = 'X';     ///< any element, as it is written
constexpr char kText = 'C';       ///< the first line of a code paragraph
constexpr char kMoreText = 'c';   ///< a further line of it
constexpr char kCdata = 'D';      ///< the first line of a code paragraph that is written as CDATA
constexpr char kMoreCdata = 'd';  ///< a further line of it

/// Where the children of the body lie, and what is declared around them.
class BodyHandler : public XmlHandler {
public:
    void startElement(const XmlName& name, const std::vector<XmlAttribute>&, XmlSpan tag) override {
        if (depth_ == 1 && !sawBody_ && name.is(kWordNamespace, "body")) {
            sawBody_ = inBody_ = true;
            body.begin = tag.end;
        }
        ++depth_;
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        --depth_;
        if (depth_ == 2 && inBody_) {
            ends.push_back(tag.end);
        } else if (depth_ == 1 && inBody_) {
            inBody_ = false;
            body.end = tag.begin;
        }
    }

    void characters(std::string_view) override {}

    void namespaceDeclared(std::string_view prefix, std::string_view uri) override {
        if (depth_ < 2) {
            namespaces[std::string(prefix)] = uri;
        }
    }

    XmlSpan body{};
    std::vector<std::size_t> ends;  ///< of the children
    std::map<std::string, std::string> namespaces;

private:
    std::size_t depth_ = 0;
    bool sawBody_ = false;
    bool inBody_ = false;
};

std::string escapeMarkup(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else {
            result += c;
        }
    }
    return result;
}

/// On one line, so that unescapeLine() gives the text back.
std::string escapeLine(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\' || c == '\n' || c == '\r') {
            result += '\\';
        }
        result += c == '\n' ? 'n' : c == '\r' ? 'r' : c;
    }
    return result;
}

std::string unescapeLine(std::string_view line) {
    std::string result;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\' || i + 1 == line.size()) {
            result += line[i];
            continue;
        }
        const char c = line[++i];
        result += c == 'n' ? '\n' : c == 'r' ? '\r' : c;
    }
    return result;
}

std::string asText(std::string_view code) { return std::string(kBefore) + escapeMarkup(code) + std::string(kAfter); }

std::string asCdata(std::string_view code) {
    return std::string(kBefore) + std::string(kCdataBefore) + std::string(code) + std::string(kCdataAfter) +
           std::string(kAfter);
}

std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    lines.push_back(text);
    return lines;
}

class Cutter {
public:
    explicit Cutter(bool keepTogether) : keepTogether_(keepTogether) {}

    void add(std::string_view element, const std::optional<std::string>& code) {
        if (code && element == asText(*code)) {
            addCode(*code, kText, kMoreText);
        } else if (code && element == asCdata(*code)) {
            addCode(*code, keepTogether_ ? kCdata : kText, kMoreCdata);
        } else {
            lines_ += kMarkup + escapeLine(element) + "\n";
        }
    }

    std::string take() { return std::move(lines_); }

private:
    void addCode(std::string_view code, char first, char more) {
        char kind = first;
        for (const std::string_view line : splitLines(code)) {
            lines_ += kind + escapeLine(line) + "\n";
            kind = keepTogether_ ? more : first;
        }
    }

    bool keepTogether_;
    std::string lines_;
};

/// The code of the paragraphs that end where the body's children do.
std::map<std::size_t, std::string> codeByEnd(const fl::Bytes& document) {
    std::map<std::size_t, std::string> codes;
    for (Paragraph& paragraph : readRichText(document, "").paragraphs) {
        if (paragraph.code) {
            codes[paragraph.span.end] = std::move(*paragraph.code);
        }
    }
    return codes;
}

std::optional<BodyHandler> findBody(const fl::Bytes& document) {
    BodyHandler handler;
    try {
        readXml(document, "", XmlEncoding::Utf8, handler);
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
    const auto word = handler.namespaces.find("w");
    const bool isUsual = word != handler.namespaces.end() && word->second == kWordNamespace;
    return isUsual && handler.body.begin < handler.body.end ? std::make_optional(handler) : std::nullopt;
}

/// Makes elements of lines, those of one paragraph together.
class Joiner {
public:
    void add(std::string_view line) {
        const char kind = line.empty() ? '\0' : line.front();
        const bool goesOn = (kind == kMoreText && kind_ == kText) || (kind == kMoreCdata && kind_ == kCdata);
        if (goesOn) {
            code_ += "\n" + unescapeLine(line.substr(1));
        } else {
            finish();
            begin(kind, line);
        }
    }

    std::string take() {
        finish();
        return std::move(document_);
    }

private:
    void begin(char kind, std::string_view line) {
        if (kind == kMarkup) {
            document_ += unescapeLine(line.substr(1));
        } else if (kind == kText || kind == kMoreText || kind == kCdata || kind == kMoreCdata) {
            kind_ = kind == kText || kind == kMoreText ? kText : kCdata;
            code_ = unescapeLine(line.substr(1));
        } else {
            document_ += asText(line);
        }
    }

    void finish() {
        if (kind_ != '\0') {
            document_ += kind_ == kText ? asText(code_) : asCdata(code_);
        }
        kind_ = '\0';
    }

    std::string document_;
    char kind_ = '\0';  ///< of the paragraph under way
    std::string code_;
};

}  // namespace

std::optional<ParagraphLines> cutIntoLines(const fl::Bytes& document, bool keepTogether) {
    const std::optional<BodyHandler> found = findBody(document);
    if (!found) {
        return std::nullopt;
    }
    const std::string_view text(reinterpret_cast<const char*>(document.data()), document.size());
    const std::map<std::size_t, std::string> codes = codeByEnd(document);
    Cutter cutter(keepTogether);
    std::size_t begin = found->body.begin;
    for (const std::size_t end : found->ends) {
        const auto code = codes.find(end);
        cutter.add(text.substr(begin, end - begin),
                   code == codes.end() ? std::nullopt : std::make_optional(code->second));
        begin = end;
    }
    return ParagraphLines{std::string(text.substr(0, found->body.begin)), cutter.take(),
                          std::string(text.substr(begin)), found->namespaces};
}

fl::Bytes joinLines(const ParagraphLines& lines) {
    Joiner joiner;
    std::vector<std::string_view> all = splitLines(lines.lines);
    all.pop_back();  // behind the last line feed
    for (const std::string_view line : all) {
        joiner.add(line);
    }
    const std::string document = lines.head + joiner.take() + lines.tail;
    return {document.begin(), document.end()};
}

}  // namespace flowbook::kit
