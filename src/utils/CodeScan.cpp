#include "utils/CodeScan.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "format/Vocabulary.hpp"

#include <algorithm>
#include <expat.h>
#include <limits>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>

namespace flowbook::detail {

namespace {

/// Parts namespace and local name in the names that Expat reports. No URI can hold it.
constexpr char kSeparator = '\n';

// Far more than rich code has, and together below the limits of the DOM parser.
constexpr std::size_t kMaxDepth = 32;
constexpr std::size_t kMaxAttributes = 16;
constexpr std::size_t kMaxNamespaces = 64;

struct ParserDeleter {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};
using ParserPtr = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter>;

/// The names of rich code as Expat reports them.
struct Names {
    const std::string body = wordName(format::kBodyElement);
    const std::string paragraph = wordName(format::kParagraphElement);
    const std::string properties = wordName(format::kParagraphPropertiesElement);
    const std::string style = wordName(format::kParagraphStyleElement);
    const std::string run = wordName(format::kRunElement);
    const std::string text = wordName(format::kTextElement);
    const std::string value = wordName(format::kValueAttribute);
    const std::string codeStyle = fl::i18n::to_string(format::kCodeStyle);

    static std::string wordName(const std::u16string& local) {
        return fl::i18n::to_string(format::kWordNamespace) + kSeparator + fl::i18n::to_string(local);
    }
};

const Names& names() {
    static const Names all;
    return all;
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
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
    std::optional<std::u16string> run(const std::string& xml) {
        const ParserPtr parser(XML_ParserCreateNS("UTF-8", kSeparator));
        if (!parser) {
            throw std::bad_alloc();
        }
        parser_ = parser.get();
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(parser_, onStartElement, onEndElement);
        XML_SetCharacterDataHandler(parser_, onCharacters);
        XML_SetStartNamespaceDeclHandler(parser_, onNamespace);
        XML_SetXmlDeclHandler(parser_, onXmlDeclaration);
        XML_SetStartDoctypeDeclHandler(parser_, onDoctype);
        XML_SetProcessingInstructionHandler(parser_, onInstruction);
        if (XML_Parse(parser_, xml.data(), static_cast<int>(xml.size()), 1) != XML_STATUS_OK) {
            return std::nullopt;
        }
        return fl::i18n::to_ustring(code_);
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

    void giveUp() { XML_StopParser(parser_, XML_FALSE); }

    void startElement(std::string_view name, const XML_Char** attributes) {
        ++depth_;
        const bool isKnown = enter(name);
        if (depth_ > kMaxDepth || (!isKnown && !isAscii(name)) || !takeAttributes(attributes)) {
            giveUp();
        }
    }

    /// @returns whether the element is one of those that lead to code.
    bool enter(std::string_view name) {
        switch (depth_) {
        case 2:
            return body_.enter(name == names().body);
        case 3:
            return body_.isOpen() && enterParagraph(name == names().paragraph);
        case 4:
            return isInParagraph_ && (paragraph_.properties.enter(name == names().properties) ||
                                      paragraph_.run.enter(name == names().run));
        case 5:
            return (paragraph_.properties.isOpen() && paragraph_.style.enter(name == names().style)) ||
                   (paragraph_.run.isOpen() && paragraph_.text.enter(name == names().text));
        default:
            return false;
        }
    }

    bool enterParagraph(bool isParagraph) {
        isInParagraph_ = isParagraph;
        if (isParagraph) {
            paragraph_ = Paragraph();
            paragraph_.start = code_.size();
            code_.append(hasLines_ ? "\n" : "");
        }
        return isParagraph;
    }

    bool takeAttributes(const XML_Char** attributes) {
        const XML_Char** const first = attributes;
        for (; *attributes != nullptr; attributes += 2) {
            const std::string_view name = attributes[0];
            if (name == names().value) {
                paragraph_.isCode = paragraph_.isCode || (isAtStyle() && attributes[1] == names().codeStyle);
            } else if (!isAscii(name)) {
                return false;
            }
        }
        return attributes - first <= static_cast<std::ptrdiff_t>(2 * kMaxAttributes);
    }

    bool isAtStyle() const { return depth_ == 5 && paragraph_.style.isOpen(); }

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

    void characters(std::string_view text) {
        if (paragraph_.text.isOpen()) {
            code_.append(text);
        }
    }

    /// No exception may pass through Expat's frames; the DOM meets the same lack of memory.
    template <class Call>
    static void guarded(void* self, Call call) noexcept {
        auto& scan = *static_cast<Scan*>(self);
        try {
            call(scan);
        } catch (const std::bad_alloc&) {
            scan.giveUp();
        }
    }

    static void onStartElement(void* self, const XML_Char* name, const XML_Char** attributes) {
        guarded(self, [&](Scan& scan) { scan.startElement(name, attributes); });
    }

    static void onEndElement(void* self, const XML_Char*) {
        guarded(self, [](Scan& scan) { scan.endElement(); });
    }

    static void onCharacters(void* self, const XML_Char* text, int length) {
        guarded(self, [&](Scan& scan) { scan.characters({text, static_cast<std::size_t>(length)}); });
    }

    static void onNamespace(void* self, const XML_Char* prefix, const XML_Char*) {
        auto& scan = *static_cast<Scan*>(self);
        if (++scan.namespaces_ > kMaxNamespaces || (prefix != nullptr && !isAscii(prefix))) {
            scan.giveUp();
        }
    }

    static void onXmlDeclaration(void* self, const XML_Char* version, const XML_Char* encoding, int) {
        const bool isUsual = version != nullptr && std::string_view(version) == "1.0" &&
                             (encoding == nullptr || std::string_view(encoding) == "UTF-8");
        if (!isUsual) {
            static_cast<Scan*>(self)->giveUp();
        }
    }

    static void onDoctype(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        static_cast<Scan*>(self)->giveUp();
    }

    static void onInstruction(void* self, const XML_Char*, const XML_Char*) { static_cast<Scan*>(self)->giveUp(); }

    XML_Parser parser_ = nullptr;
    std::size_t depth_ = 0;
    std::size_t namespaces_ = 0;
    FirstChild body_;
    Paragraph paragraph_;
    bool isInParagraph_ = false;
    bool hasLines_ = false;
    std::string code_;
};

/// None for text that is no Unicode text, or that Expat would take for UTF-16 for its NUL characters.
std::optional<std::string> toUtf8(const std::u16string& text) {
    try {
        std::string utf8 = fl::i18n::ustring_to_utf8(text);
        const bool fits = utf8.size() <= std::numeric_limits<int>::max();
        return fits && utf8.find('\0') == std::string::npos ? std::optional(std::move(utf8)) : std::nullopt;
    } catch (const fl::i18n::ConversionError&) {
        return std::nullopt;
    }
}

}  // namespace

std::optional<std::u16string> scanForCode(const std::u16string& richCode) {
    const std::optional<std::string> xml = toUtf8(richCode);
    return xml ? Scan().run(*xml) : std::nullopt;
}

}  // namespace flowbook::detail
