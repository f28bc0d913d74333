// Reads a document past its faults, so that a page shows the text of a damaged one. What an XML parser refuses is
// mended first: tags that lack their partner, bare "<" and "&", bytes that are no characters. The result is only looked
// at, never saved, so a wrong guess costs the look of a paragraph and no content.
#include "kit/page/CodeTree.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/page/Pieces.hpp"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

namespace flowbook::kit {

namespace {

constexpr std::string_view kReplacement = "\uFFFD";
constexpr std::size_t kLongestReference = 12;

/// When the end of a settings element is lost, the text behind it would be taken for settings and hidden. These ones
/// end it. Elements of which there are none in settings.
constexpr std::string_view kShown[] = {"p",
                                       "r",
                                       "t",
                                       "tbl",
                                       "tr",
                                       "tc",
                                       "hyperlink",
                                       "fldSimple",
                                       "sdt",
                                       "drawing",
                                       "pict",
                                       "instrText",
                                       "delText",
                                       "oMath",
                                       "ruby",
                                       "object",
                                       "sym",
                                       "AlternateContent",
                                       "chart",
                                       "br",
                                       "sdtContent",
                                       "footnoteReference",
                                       "noBreakHyphen"};

bool isNameByte(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || std::isalnum(byte) != 0 || c == ':' || c == '_' || c == '-' || c == '.';
}

bool isBlankByte(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view localOf(std::string_view name) { return name.substr(name.find(':') + 1); }

class Mender {
public:
    explicit Mender(std::string_view text) : text_(text) {}

    std::optional<std::string> mend() {
        while (at_ < text_.size()) {
            const bool isOutside = open_.empty();
            if (rest().front() == '<' && takeMarkup()) {
                continue;
            }
            if (isOutside && !isBlankByte(rest().front())) {
                return std::nullopt;
            }
            if (!isBlankByte(rest().front())) {
                leaveSettings();
            }
            takeCharacter();
        }
        if (!hasRoot_) {
            return std::nullopt;
        }
        closeTo(0);
        return std::move(out_);
    }

private:
    std::string_view rest() const { return text_.substr(at_); }

    void takeCharacter() {
        const char c = text_[at_];
        const bool isControl = static_cast<unsigned char>(c) < 0x20 && !isBlankByte(c);
        // U+FFFE and U+FFFF.
        const bool isNoCharacter = startsWith(rest(), "\xEF\xBF\xBE") || startsWith(rest(), "\xEF\xBF\xBF");
        // Any other ampersand is taken as the character itself, since it cannot have been a reference.
        const std::size_t reference = c == '&' ? referenceLength() : 0;
        if (reference != 0) {
            out_.append(text_, at_, reference);
            at_ += reference;
            return;
        }
        out_ += c == '<'                     ? "&lt;"
                : c == '>'                   ? "&gt;"
                : c == '&'                   ? "&amp;"
                : isControl || isNoCharacter ? kReplacement
                                             : text_.substr(at_, 1);
        at_ += isNoCharacter ? 3 : 1;
    }

    /// The length of a reference that XML itself defines, or one to a character that it permits; 0 for others.
    std::size_t referenceLength() const {
        const std::string_view reference = rest().substr(0, rest().substr(0, kLongestReference).find(';') + 1);
        for (const std::string_view known : {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "&#9;", "&#10;", "&#13;"}) {
            if (reference == known) {
                return known.size();
            }
        }
        const bool isHex = startsWith(reference, "&#x");
        if (reference.size() < 4 || !startsWith(reference, "&#")) {
            return 0;
        }
        const std::string digits(reference.substr(isHex ? 3 : 2, reference.size() - (isHex ? 4 : 3)));
        const bool isNumber = !digits.empty() && std::all_of(digits.begin(), digits.end(), [&](unsigned char c) {
            return (isHex ? std::isxdigit(c) : std::isdigit(c)) != 0;
        });
        const unsigned long number = isNumber ? std::stoul(digits, nullptr, isHex ? 16 : 10) : 0;
        // The characters of XML 1.0, 2.2. Others, even as references, make a document that no reader takes.
        const bool isPermitted = number >= 0x20 && number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF) &&
                                 number != 0xFFFE && number != 0xFFFF;
        return isPermitted || number == 9 || number == 10 || number == 13 ? reference.size() : 0;
    }

    /// @returns whether there is markup; else the character "<" is text.
    bool takeMarkup() {
        if (startsWith(rest(), "<![CDATA[")) {
            return takeSection();
        }
        return skip("<?", "?>") || skip("<!--", "-->") || takeEnd() || takeStart();
    }

    bool skip(std::string_view begin, std::string_view end) {
        const std::size_t found = startsWith(rest(), begin) ? rest().find(end) : std::string_view::npos;
        at_ += found == std::string_view::npos ? 0 : found + end.size();
        return found != std::string_view::npos;
    }

    /// A section of characters in which nothing is markup.
    bool takeSection() {
        leaveSettings();
        at_ += std::string_view("<![CDATA[").size();
        const std::size_t end = std::min(text_.find("]]>", at_), text_.size());
        // The section becomes escaped text, in which only its ampersands are not what they seem to be.
        Mender inside(text_.substr(at_, end - at_));
        for (; inside.at_ < inside.text_.size();) {
            inside.rest().front() == '&' ? inside.takeAs("&amp;") : inside.takeCharacter();
        }
        out_ += inside.out_;
        at_ = std::min(end + 3, text_.size());
        return true;
    }

    void takeAs(std::string_view replacement) {
        out_ += replacement;
        ++at_;
    }

    std::string_view nameAt(std::size_t begin) const {
        std::size_t end = begin;
        while (end < text_.size() && isNameByte(text_[end])) {
            ++end;
        }
        return text_.substr(begin, end - begin);
    }

    std::size_t blanksEnd(std::size_t at) const {
        while (at < text_.size() && isBlankByte(text_[at])) {
            ++at;
        }
        return at;
    }

    bool takeEnd() {
        if (!startsWith(rest(), "</")) {
            return false;
        }
        const std::string_view name = nameAt(at_ + 2);
        const std::size_t end = blanksEnd(at_ + 2 + name.size());
        if (name.empty() || end == text_.size() || text_[end] != '>') {
            return false;
        }
        at_ = end + 1;
        const auto found = std::find(open_.rbegin(), open_.rend(), name);
        // An end without a beginning is dropped; one whose beginning lies further out ends all that is open in between.
        const auto depth = static_cast<std::size_t>(open_.rend() - found);
        // The root element ends with the document, so that nothing is left behind it.
        if (depth > 1) {
            closeTo(depth - 1);
        }
        return true;
    }

    bool takeStart() {
        const std::string_view name = nameAt(at_ + 1);
        if (name.empty() || std::isdigit(static_cast<unsigned char>(name.front())) != 0) {
            return false;
        }
        std::size_t at = at_ + 1 + name.size();
        std::string attributes;
        while (takeAttribute(at, attributes)) {
        }
        at = blanksEnd(at);
        const bool isEmpty = at + 1 < text_.size() && text_[at] == '/' && text_[at + 1] == '>';
        if (!isEmpty && (at == text_.size() || text_[at] != '>')) {
            return false;
        }
        // Nothing has been written for this start until here, so markup that proves to be text leaves no trace.
        beginElement(localOf(name));
        out_.append("<").append(name).append(attributes).append(isEmpty ? "/>" : ">");
        at_ = at + (isEmpty ? 2 : 1);
        hasRoot_ = true;
        if (!isEmpty) {
            open_.push_back(name);
            settings_ += isSettings(localOf(name)) ? 1 : 0;
        }
        return true;
    }

    /// Ends what cannot hold the element.
    void beginElement(std::string_view local) {
        if (std::find(std::begin(kShown), std::end(kShown), local) != std::end(kShown)) {
            leaveSettings();
        }
        const std::string_view around = open_.empty() ? std::string_view() : localOf(open_.back());
        // These hold characters alone, so an element in them shows that their end is lost.
        if (around == "t" || around == "delText" || around == "instrText") {
            closeTo(open_.size() - 1);
        }
        if (local == "p") {
            closeParagraph();
        }
    }

    void leaveSettings() {
        while (settings_ != 0) {
            closeTo(open_.size() - 1);
        }
    }

    /// @param at  is moved behind the attribute, if there is one.
    bool takeAttribute(std::size_t& at, std::string& attributes) const {
        const std::size_t begin = blanksEnd(at);
        const std::string_view name = nameAt(begin);
        const std::size_t equals = blanksEnd(begin + name.size());
        const std::size_t quote = equals < text_.size() && text_[equals] == '=' ? blanksEnd(equals + 1) : text_.size();
        if (begin == at || name.empty() || quote >= text_.size() || (text_[quote] != '"' && text_[quote] != '\'')) {
            return false;
        }
        const std::size_t end = text_.find(text_[quote], quote + 1);
        if (end == std::string_view::npos || text_.substr(quote, end - quote).find('<') != std::string_view::npos) {
            return false;
        }
        // Values may hold bad references and characters as well as text may.
        Mender value(text_.substr(quote + 1, end - quote - 1));
        while (value.at_ < value.text_.size()) {
            value.takeCharacter();
        }
        attributes.append(" ")
            .append(name)
            .append("=")
            .append(1, text_[quote])
            .append(value.out_)
            .append(1, text_[quote]);
        at = end + 1;
        return true;
    }

    /// A paragraph that stands in another one, and in no box or cell, has lost the end of that.
    void closeParagraph() {
        for (std::size_t depth = open_.size(); depth > 1; --depth) {
            const std::string_view local = localOf(open_[depth - 1]);
            if (local == "p") {
                closeTo(depth - 1);
            }
            if (local == "p" || local == "tc" || local == "txbxContent" || local == "sdtContent") {
                return;
            }
        }
    }

    void closeTo(std::size_t depth) {
        for (; open_.size() > depth; open_.pop_back()) {
            out_.append("</").append(open_.back()).append(">");
            settings_ -= isSettings(localOf(open_.back())) ? 1 : 0;
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::string out_;
    std::vector<std::string_view> open_;
    std::size_t settings_ = 0;  ///< so many of the open elements hold settings
    bool hasRoot_ = false;
};

/// The document as UTF-8; bytes that are none are replaced where the document says that it is in UTF-8.
std::string utf8Of(const fl::Bytes& stored) {
    const std::string bytes(stored.begin(), stored.end());
    const std::string start = bytes.substr(0, bytes.find('>'));
    const bool isOfBytes = bytes.find('\0') == std::string::npos;
    // A damaged byte must not make a UTF-8 document look like another encoding, so the declaration decides.
    const bool isLatin = start.find("8859-1") != std::string::npos;
    std::string text = isOfBytes && !isLatin ? fl::i18n::to_string(fl::i18n::to_ustring(bytes)) : textIn(stored);
    return startsWith(text, "\uFEFF") ? text.substr(3) : text;
}

}  // namespace

std::optional<std::string> mendedXml(std::string_view utf8) { return Mender(utf8).mend(); }

CodeTree readCodeTree(const fl::Bytes& stored, const std::string& where) {
    CodeTree result;
    result.encoding = encodingOf(stored);
    result.tree = readXmlTree(stored, where, result.encoding);
    result.fault = result.tree.fault;
    if (result.fault.empty()) {
        return result;
    }
    result.rest = result.tree.end;
    if (const std::optional<std::string> mended = mendedXml(utf8Of(stored))) {
        XmlTree tree = readXmlTree({mended->begin(), mended->end()}, where, XmlEncoding::Utf8);
        if (tree.fault.empty()) {
            result.tree = std::move(tree);
            result.rest = std::nullopt;
        }
    }
    return result;
}

}  // namespace flowbook::kit
