#include "utils/CodeScan.hpp"

#include "format/Vocabulary.hpp"
#include "plainxml/Reader.hpp"

namespace flowbook::detail {

namespace {

using plainxml::Reader;

/// The names of rich code, which are ASCII, as the reader reports them.
struct Names {
    const std::string ns = narrow(format::kWordNamespace);
    const std::string body = narrow(format::kBodyElement);
    const std::string paragraph = narrow(format::kParagraphElement);
    const std::string properties = narrow(format::kParagraphPropertiesElement);
    const std::string style = narrow(format::kParagraphStyleElement);
    const std::string run = narrow(format::kRunElement);
    const std::string text = narrow(format::kTextElement);
    const std::string value = narrow(format::kValueAttribute);
    const std::string codeStyle = narrow(format::kCodeStyle);

    static std::string narrow(const std::u16string& ascii) { return {ascii.begin(), ascii.end()}; }
};

const Names& names() {
    static const Names all;
    return all;
}

/// The first element of a name below another: the one that counts, of which the later ones are passed over.
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

    bool isNamed(const std::string& local) { return reader_.local() == local && isInWordNamespace(); }

    /// Elements mostly have the same declaration of it.
    bool isInWordNamespace() {
        const std::string_view ns = reader_.ns();
        if (ns.data() == declared_.data() && ns.size() == declared_.size()) {
            return !ns.empty();
        }
        const bool is = ns == names_.ns;
        declared_ = is ? ns : declared_;
        return is;
    }

    /// @returns whether the element holds nothing that the document may mean otherwise than it stands there.
    bool startElement() {
        switch (++depth_) {
        case 2:
            body_.enter(isNamed(names_.body));
            return true;
        case 3:
            enterParagraph(body_.isOpen() && isNamed(names_.paragraph));
            return true;
        case 4:
            if (isInParagraph_ && !paragraph_.properties.enter(isNamed(names_.properties))) {
                paragraph_.run.enter(isNamed(names_.run));
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
            code_.append(hasLines_ ? u"\n" : u"");
        }
    }

    bool enterInner() {
        if (paragraph_.run.isOpen()) {
            paragraph_.text.enter(isNamed(names_.text));
        } else if (paragraph_.properties.isOpen() && paragraph_.style.enter(isNamed(names_.style))) {
            return takeStyle();
        }
        return true;
    }

    bool takeStyle() {
        const Reader::Attribute* const value = reader_.attribute(names_.ns, names_.value);
        paragraph_.isCode = value != nullptr && value->value == names_.codeStyle;
        return value == nullptr || value->isVerbatim;
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

    /// Takes back what a paragraph left that is no line of code.
    void endParagraph() {
        const bool isLine = isInParagraph_ && paragraph_.isCode && paragraph_.text.wasSeen();
        if (isInParagraph_ && !isLine) {
            code_.resize(paragraph_.start);
        }
        isInParagraph_ = false;
        hasLines_ = hasLines_ || isLine;
    }

    const Names& names_ = names();
    Reader reader_;
    std::string_view declared_;
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
