// Finding the code in one pass over the bytes of the document, in the way that CodeDom.cpp does on a tree. Only what is
// needed of the tree is tracked: the depth, and at each level whether the one element that counts is open. Code is
// appended as it is read, and taken back if the paragraph turns out to be none.
#include "format/Vocabulary.hpp"
#include "plainxml/Reader.hpp"
#include "utils/Code.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace flowbook::detail {

namespace {

using plainxml::Reader;

/// What a start tag opens, as far as the tag itself says. Where it stands decides whether it counts.
enum class Element : unsigned char {
    Unknown,
    Other,
    Body,
    Paragraph,
    Properties,
    CodeStyle,
    OtherStyle,
    OddStyle,  ///< its value has references or white space that a parser would replace
    Run,
    Text
};

/// The names of rich code, which are ASCII, as the reader reports them.
class Names {
public:
    Element elementOf(const Reader& reader) const {
        if (reader.ns() != namespace_) {
            return Element::Other;
        }
        if (reader.local() == style_) {
            return styleOf(reader.attribute(namespace_, value_));
        }
        const auto found = std::find_if(elements_.begin(), elements_.end(),
                                        [&](const auto& each) { return each.first == reader.local(); });
        return found == elements_.end() ? Element::Other : found->second;
    }

private:
    static std::string narrow(const std::u16string& ascii) { return {ascii.begin(), ascii.end()}; }

    Element styleOf(const Reader::Attribute* value) const {
        if (value == nullptr || !value->isVerbatim) {
            return value == nullptr ? Element::OtherStyle : Element::OddStyle;
        }
        return value->value == codeStyle_ ? Element::CodeStyle : Element::OtherStyle;
    }

    const std::string namespace_ = narrow(format::kWordNamespace);
    const std::string style_ = narrow(format::kParagraphStyleElement);
    const std::string value_ = narrow(format::kValueAttribute);
    const std::string codeStyle_ = narrow(format::kCodeStyle);
    const std::array<std::pair<std::string, Element>, 5> elements_{
        {{narrow(format::kBodyElement), Element::Body},
         {narrow(format::kParagraphElement), Element::Paragraph},
         {narrow(format::kParagraphPropertiesElement), Element::Properties},
         {narrow(format::kRunElement), Element::Run},
         {narrow(format::kTextElement), Element::Text}}};
};

const Names& names() {
    // Never destroyed: a host may read flowbooks while it ends.
    static const Names& all = *new Names();
    return all;
}

/// Tracks the first element of a name below another element. It is the one that counts; later ones of the name are
/// passed over.
class FirstChild {
public:
    /// At the start of a child of the element. @returns whether it is the one.
    bool enter(bool isNamed) {
        isOpen_ = isNamed && !wasSeen_;
        wasSeen_ = wasSeen_ || isNamed;
        return isOpen_;
    }
    void leave() { isOpen_ = false; }
    bool isOpen() const { return isOpen_; }
    bool wasSeen() const { return wasSeen_; }

private:
    bool isOpen_ = false;
    bool wasSeen_ = false;
};

class Scan {
public:
    explicit Scan(std::string_view document) : reader_(document) { code_.reserve(document.size()); }

    std::optional<std::u16string> run() {
        while (true) {
            switch (reader_.next(paragraph_.text.isOpen() ? &code_ : nullptr)) {
            case Reader::Event::Start:
                if (!startElement()) {
                    return std::nullopt;
                }
                break;
            case Reader::Event::End:
                endElement();
                break;
            case Reader::Event::Done:
                return std::move(code_);
            case Reader::Event::Odd:
                return std::nullopt;
            }
        }
    }

private:
    struct Paragraph {
        FirstChild properties;
        FirstChild style;
        FirstChild run;
        FirstChild text;
        bool isCode = false;
        std::size_t start = 0;  ///< of its line in the code
    };

    /// Returns what the tag opens. The reader keeps the answer with the tag, as one that is met again means the same.
    Element element() {
        unsigned char& meaning = reader_.meaning();
        if (meaning == static_cast<unsigned char>(Element::Unknown)) {
            meaning = static_cast<unsigned char>(names().elementOf(reader_));
        }
        return static_cast<Element>(meaning);
    }

    /// Follows a start tag. @returns false when the tag may mean something else than its bytes say, so that the scan is
    /// not sure.
    bool startElement() {
        switch (++depth_) {
        case 2:
            body_.enter(element() == Element::Body);
            return true;
        case 3:
            enterParagraph(body_.isOpen() && element() == Element::Paragraph);
            return true;
        case 4:
            if (isInParagraph_ && !paragraph_.properties.enter(element() == Element::Properties)) {
                paragraph_.run.enter(element() == Element::Run);
            }
            return true;
        case 5:
            return enterInner();
        default:
            return true;
        }
    }

    void enterParagraph(bool isParagraph) {
        isInParagraph_ = isParagraph;
        if (isParagraph) {
            paragraph_ = Paragraph();
            paragraph_.start = code_.size();
            code_.append(hasLines_ ? 1 : 0, u'\n');  // between lines; endParagraph() takes it back if no line follows
        }
    }

    bool enterInner() {
        if (paragraph_.run.isOpen()) {
            paragraph_.text.enter(element() == Element::Text);
        } else if (paragraph_.properties.isOpen() && paragraph_.style.enter(isStyle())) {
            paragraph_.isCode = element() == Element::CodeStyle;
            return element() != Element::OddStyle;
        }
        return true;
    }

    bool isStyle() {
        return element() == Element::CodeStyle || element() == Element::OtherStyle || element() == Element::OddStyle;
    }

    void endElement() {
        switch (depth_--) {
        case 2:
            body_.leave();
            break;
        case 3:
            endParagraph();
            break;
        case 4:
            paragraph_.properties.leave();
            paragraph_.run.leave();
            break;
        case 5:
            paragraph_.style.leave();
            paragraph_.text.leave();
            break;
        default:
            break;
        }
    }

    /// Takes back what a paragraph has added if it turns out to be no line of code. Its style may come after its text.
    void endParagraph() {
        const bool isLine = isInParagraph_ && paragraph_.isCode && paragraph_.text.wasSeen();
        if (isInParagraph_ && !isLine) {
            code_.resize(paragraph_.start);
        }
        isInParagraph_ = false;
        hasLines_ = hasLines_ || isLine;
    }

    Reader reader_;
    std::size_t depth_ = 0;
    FirstChild body_;
    Paragraph paragraph_;
    bool isInParagraph_ = false;
    bool hasLines_ = false;
    std::u16string code_;
};

}  // namespace

std::optional<std::u16string> scanForCode(std::string_view document) { return Scan(document).run(); }

}  // namespace flowbook::detail
