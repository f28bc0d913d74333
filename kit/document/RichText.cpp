// Reads a document twice at once: as the library does, which takes the first text of the first run of a paragraph whose
// first style is "code", and as people see it, with all runs and their look. The places of both in the bytes are kept,
// so that code can be replaced without touching anything else.
#include "kit/document/RichText.hpp"

#include "opc/Exception.hpp"

#include <algorithm>
#include <utility>

namespace flowbook::kit {

namespace {

std::string_view valueOf(const std::vector<XmlAttribute>& attributes, std::string_view ns, std::string_view local) {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const XmlAttribute& each) { return each.name.is(ns, local); });
    return found == attributes.end() ? std::string_view() : found->value;
}

bool isOff(std::string_view value) { return value == "false" || value == "0" || value == "off" || value == "none"; }

/// Takes in the first element of each kind on the way from a paragraph to its code, as the library does.
struct CodePath {
    bool sawProperties = false;
    bool sawStyle = false;
    bool sawRun = false;
    bool sawText = false;
    bool isCode = false;
    bool inProperties = false;
    bool inRun = false;
    bool isTaking = false;
    std::string text;
    XmlSpan textSpan{};
};

/// A paragraph that is being read, with the depth of its element.
struct OpenParagraph {
    std::size_t index;
    std::size_t depth;
    CodePath path;
};

class RichTextHandler : public XmlHandler {
public:
    explicit RichTextHandler(RichText& text) : text_(text), paragraphs_(text.paragraphs) {}

    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan tag) override {
        const std::string_view parent = open_.empty() ? "" : std::string_view(open_.back());
        const bool isWord = name.ns == kWordNamespace;
        const std::string local = isWord ? std::string(name.local) : "?" + std::string(name.local);
        noteBody(local, tag);
        if (local == "p") {
            startParagraph(tag);
        } else if (!inside_.empty()) {
            noteCodePath(local, attributes, tag);
            noteProperty(parent, local, attributes);
            noteContent(local, attributes);
        }
        open_.push_back(local);
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        const std::string local = std::move(open_.back());
        open_.pop_back();
        leaveBody(tag);
        if (!inside_.empty() && inside_.back().depth == open_.size()) {
            endParagraph(tag);
        } else if (!inside_.empty()) {
            leave(local, tag);
        }
    }

    void characters(std::string_view text) override {
        if (inside_.empty() || open_.back() != "t") {
            return;
        }
        add(text);
        if (inside_.back().path.isTaking) {
            inside_.back().path.text.append(text);
        }
    }

private:
    Paragraph& paragraph() { return paragraphs_[inside_.back().index]; }
    std::size_t depthInParagraph() const { return open_.size() - inside_.back().depth; }

    /// Only blocks of the first body count as code; a second body, or one elsewhere, is text at most.
    void noteBody(const std::string& local, XmlSpan tag) {
        if (open_.size() == 1) {
            isFirstBody_ = local == "body" && !sawBody_;
            sawBody_ = sawBody_ || local == "body";
            text_.body = isFirstBody_ ? XmlSpan{tag.end, tag.end} : text_.body;
        } else if (open_.size() == 2 && isFirstBody_) {
            text_.blocks.push_back(tag);
        }
    }

    void leaveBody(XmlSpan tag) {
        if (open_.size() == 1 && isFirstBody_) {
            text_.body.end = tag.begin;
        } else if (open_.size() == 2 && isFirstBody_) {
            text_.blocks.back().end = tag.end;
        }
    }

    void startParagraph(XmlSpan tag) {
        inside_.push_back({paragraphs_.size(), open_.size(), {}});
        Paragraph paragraph;
        paragraph.isBlock = open_.size() == 2 && isFirstBody_;
        paragraph.span = tag;
        paragraphs_.push_back(std::move(paragraph));
        look_ = Run();
    }

    void endParagraph(XmlSpan tag) {
        CodePath& path = inside_.back().path;
        paragraph().span.end = tag.end;
        if (paragraph().isBlock && path.isCode && path.sawText) {
            paragraph().code = std::move(path.text);
            paragraph().codeText = path.textSpan;
        }
        inside_.pop_back();
    }

    void leave(const std::string& local, XmlSpan tag) {
        if (local == "r") {
            // A link goes on over several runs, and ends with its own element.
            const std::string link = look_.link;
            look_ = Run();
            look_.link = link;
        } else if (local == "hyperlink") {
            look_.link.clear();
        } else if (local == "t" && inside_.back().path.isTaking && depthInParagraph() == 2) {
            inside_.back().path.isTaking = false;
            inside_.back().path.textSpan.end = tag.begin;
        }
    }

    static bool isFirst(bool& seen) { return !std::exchange(seen, true); }

    void noteCodePath(const std::string& local, const std::vector<XmlAttribute>& attributes, XmlSpan tag) {
        CodePath& path = inside_.back().path;
        const std::size_t depth = depthInParagraph();
        if (depth == 1) {
            path.inProperties = local == "pPr" && isFirst(path.sawProperties);
            path.inRun = local == "r" && isFirst(path.sawRun);
        } else if (depth == 2 && path.inProperties && local == "pStyle" && isFirst(path.sawStyle)) {
            path.isCode = valueOf(attributes, kWordNamespace, "val") == "code";
        } else if (depth == 2 && path.inRun && local == "t") {
            path.isTaking = isFirst(path.sawText);
            path.textSpan = path.isTaking ? XmlSpan{tag.end, tag.end} : path.textSpan;
        }
    }

    void noteProperty(std::string_view parent, const std::string& local, const std::vector<XmlAttribute>& attributes) {
        const std::string_view value = valueOf(attributes, kWordNamespace, "val");
        if (parent == "pPr") {
            noteParagraphProperty(local, value);
        } else if (parent == "rPr" && open_.size() >= 2 && open_[open_.size() - 2] == "r") {
            noteRunProperty(local, value);
        }
    }

    void noteParagraphProperty(const std::string& local, std::string_view value) {
        if (local == "pStyle") {
            paragraph().style = value;
            paragraph().heading = std::max(paragraph().heading, headingOf(value));
        } else if (local == "outlineLvl" && value.size() == 1 && value[0] >= '0' && value[0] <= '8') {
            paragraph().heading = value[0] - '0' + 1;
        }
    }

    void noteRunProperty(const std::string& local, std::string_view value) {
        if (local == "rStyle") {
            look_.bold = look_.bold || value == "Strong";
            look_.italic = look_.italic || value == "Emphasis";
        } else if (local == "b") {
            look_.bold = !isOff(value);
        } else if (local == "i") {
            look_.italic = !isOff(value);
        } else if (local == "u") {
            look_.underline = !isOff(value);
        } else if (local == "strike") {
            look_.strike = !isOff(value);
        }
    }

    void noteContent(const std::string& local, const std::vector<XmlAttribute>& attributes) {
        if (local == "tab" && open_.back() == "r") {
            add("\t");
        } else if (local == "br" || local == "cr") {
            add("\n");
        } else if (local == "hyperlink") {
            look_.link = valueOf(attributes, kRelationshipNamespace, "id");
        } else if (local == "?blip" || local == "?imagedata") {
            addPicture(valueOf(attributes, kRelationshipNamespace, local == "?blip" ? "embed" : "id"));
        }
    }

    void add(std::string_view text) {
        std::vector<Run>& runs = paragraph().runs;
        if (runs.empty() || !runs.back().looksAs(look_)) {
            runs.push_back(look_);
        }
        runs.back().text.append(text);
    }

    void addPicture(std::string_view relationship) {
        Run run = look_;
        run.picture = relationship;
        paragraph().runs.push_back(std::move(run));
    }

    RichText& text_;
    std::vector<Paragraph>& paragraphs_;
    std::vector<std::string> open_;  ///< local names; "?" before those of other namespaces
    std::vector<OpenParagraph> inside_;
    Run look_;  ///< of what comes next; without text
    bool sawBody_ = false;
    bool isFirstBody_ = false;
};

}  // namespace

int headingOf(std::string_view style) {
    constexpr std::string_view kHeading = "eading";
    if (style == "Title" || style == "title") {
        return 1;
    }
    if (style.size() < 8 || (style[0] != 'H' && style[0] != 'h') || style.substr(1, kHeading.size()) != kHeading) {
        return 0;
    }
    const std::string_view number = style.substr(style[7] == ' ' ? 8 : 7);
    return number.size() == 1 && number[0] >= '1' && number[0] <= '9' ? number[0] - '0' : 0;
}

bool Run::looksAs(const Run& other) const {
    return link == other.link && picture == other.picture && bold == other.bold && italic == other.italic &&
           underline == other.underline && strike == other.strike;
}

std::string Paragraph::text() const {
    std::string all;
    for (const Run& run : runs) {
        all += run.text;
    }
    return all;
}

RichText readRichText(const fl::Bytes& document, const std::string& where) {
    RichText result;
    RichTextHandler handler(result);
    try {
        readXml(document, where, XmlEncoding::Utf8, handler);
    } catch (const opc::Exception& failure) {
        result.fault = failure.what();
    }
    return result;
}

}  // namespace flowbook::kit
