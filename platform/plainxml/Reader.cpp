// The reader of plain XML. Its one rule: when it is not certain that every parser reads the same from the next bytes,
// it reports Odd and its caller turns to another parser. So each function may refuse what is merely unusual, and none
// may accept what is malformed. It keeps all state in arrays of a fixed size, and never allocates.
#include "plainxml/Reader.hpp"

#include "plainxml/Block.hpp"
#include "plainxml/Utf8.hpp"
#include "plainxml/Widening.hpp"
#include "plainxml/XmlCharacters.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace plainxml {
namespace {

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view kXmlnsNamespace = "http://www.w3.org/2000/xmlns/";
constexpr std::string_view kCommentStart = "<!--";
constexpr std::string_view kCdataStart = "<![CDATA[";
constexpr std::string_view kCdataEnd = "]]>";

constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

constexpr bool isNameStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

constexpr bool isNameCharacter(char c) { return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

/// Whether a character may stand in an attribute's value and means itself there.
constexpr bool isPlainInValue(char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\'' && c != '&' && c != '<'; }

/// A set of ASCII characters as a table, so that one look-up finds whether a character is in it.
template <bool is(char)>
constexpr std::array<bool, 256> charactersThat() {
    std::array<bool, 256> table{};
    for (std::size_t i = 0; i != 0x80; ++i) {
        table[i] = is(static_cast<char>(i));
    }
    return table;
}

/// Returns the first character that is not of a kind.
template <bool is(char)>
const char* skip(const char* at, const char* end) {
    static constexpr std::array<bool, 256> kTable = charactersThat<is>();
    while (at != end && kTable[static_cast<unsigned char>(*at)]) {
        ++at;
    }
    return at;
}

/// As skip(), but a block at a time, as values are longer than names.
const char* skipPlainInValue(const char* at, const char* end) {
    while (end - at >= static_cast<std::ptrdiff_t>(Block::kSize)) {
        const Block block(at);
        const std::size_t plain = Block::front(block.isAbove(' ' - 1), block.isOneOf('"', '\'', '&', '<', '\x7F'));
        at += plain;
        if (plain != Block::kSize) {
            return at;
        }
    }
    return skip<isPlainInValue>(at, end);
}

std::string_view view(const char* from, const char* to) { return {from, static_cast<std::size_t>(to - from)}; }

template <class Word>
bool isSame(const char*& at, const char*& expected) {
    Word here = 0;
    Word there = 0;
    std::memcpy(&here, at, sizeof here);
    std::memcpy(&there, expected, sizeof there);
    at += sizeof here;
    expected += sizeof there;
    return here == there;
}

/// Compares word by word, as these texts are too short for a call of memcmp() to pay.
inline bool startsWith(const char* at, const char* end, std::string_view text) {
    const char* expected = text.data();
    std::size_t left = text.size();
    if (static_cast<std::size_t>(end - at) < left) {
        return false;
    }
    for (; left >= sizeof(std::uint64_t); left -= sizeof(std::uint64_t)) {
        if (!isSame<std::uint64_t>(at, expected)) {
            return false;
        }
    }
    return ((left & 4) == 0 || isSame<std::uint32_t>(at, expected)) &&
           ((left & 2) == 0 || isSame<std::uint16_t>(at, expected)) && ((left & 1) == 0 || *at == *expected);
}

/// Moves `at` behind a character. @returns whether XML permits it.
bool passCharacter(const char*& at, const char* end) {
    const auto c = static_cast<unsigned char>(*at);
    if (c >= 0x80) {
        return takeMultiByte(at, end) != 0;
    }
    ++at;
    return isXmlCharacter(c);
}

/// Moves `at` to an ASCII text that ends something. @returns whether the text was found, with nothing but XML
/// characters before it.
bool passUntil(const char*& at, const char* end, std::string_view text) {
    while (!startsWith(at, end, text)) {
        if (at == end || !passCharacter(at, end)) {
            return false;
        }
    }
    return true;
}

/// Moves `at` behind a comment. Two hyphens may stand only at its end (XML 1.0, 2.5).
bool passComment(const char*& at, const char* end) {
    at += kCommentStart.size();
    const bool isWhole = passUntil(at, end, "--") && startsWith(at, end, "-->");
    at += isWhole ? 3 : 0;
    return isWhole;
}

/// Moves `at` behind a processing instruction. Its target must not be "xml" in any letter case (XML 1.0, 2.6).
bool passInstruction(const char*& at, const char* end) {
    at += 2;
    const char* const start = at;
    if (at == end || !isNameStart(*at)) {
        return false;
    }
    at = skip<isNameCharacter>(at, end);
    const bool isReserved =
        at - start == 3 && (start[0] | 0x20) == 'x' && (start[1] | 0x20) == 'm' && (start[2] | 0x20) == 'l';
    const bool isEnded = startsWith(at, end, "?>");
    const bool isWhole = !isReserved && (isEnded || (at != end && isSpace(*at) && passUntil(at, end, "?>")));
    at += isWhole ? 2 : 0;
    return isWhole;
}

/// What lies at a place between tags: nothing that may be passed over, a comment or an instruction that was passed, or
/// one that is malformed.
enum class Aside { None, Passed, Odd };

/// Moves `at` behind a comment or a processing instruction.
Aside passAside(const char*& at, const char* end) {
    if (startsWith(at, end, kCommentStart)) {
        return passComment(at, end) ? Aside::Passed : Aside::Odd;
    }
    if (startsWith(at, end, "<?")) {
        return passInstruction(at, end) ? Aside::Passed : Aside::Odd;
    }
    return Aside::None;
}

/// The characters of a text or of a CDATA section, up to its end, behind which `at` is moved. The functions return true
/// to go on and false where the reader is not certain.
class Characters {
public:
    Characters(const char*& at, const char* end, Widening& text) : at_(at), end_(end), text_(text) {}

    /// Up to the next tag. @returns whether it was reached.
    bool takeText() {
        while (true) {
            text_.takePlain<false>(at_, end_);
            if (at_ == end_) {
                return false;
            }
            if (*at_ == '<') {
                if (isAtTag()) {
                    return true;
                }
                if (!takeCdataOrAside()) {
                    return false;
                }
            } else if (startsWith(at_, end_, kCdataEnd) || !takeOne(*at_ == '&')) {
                return false;
            }
        }
    }

private:
    bool isAtTag() const { return end_ - at_ < 2 || (at_[1] != '!' && at_[1] != '?'); }

    bool takeCdataOrAside() {
        if (startsWith(at_, end_, kCdataStart)) {
            at_ += kCdataStart.size();
            return takeCdata();
        }
        return passAside(at_, end_) == Aside::Passed;
    }

    bool takeCdata() {
        while (true) {
            text_.takePlain<true>(at_, end_);
            if (at_ == end_) {
                return false;
            }
            if (startsWith(at_, end_, kCdataEnd)) {
                at_ += kCdataEnd.size();
                return true;
            }
            if (!takeOne(false)) {
                return false;
            }
        }
    }

    bool takeOne(bool isReference) {
        if (isReference || static_cast<unsigned char>(*at_) >= 0x80) {
            const char32_t point = isReference ? takeReference(at_, end_) : takeMultiByte(at_, end_);
            text_.put(point);
            return point != 0;
        }
        const auto c = static_cast<unsigned char>(*at_);
        ++at_;
        if (c == '\r') {  // a line feed, alone or together with one that follows (XML 1.0, 2.11)
            at_ += at_ != end_ && *at_ == '\n' ? 1 : 0;
            text_.put(U'\n');
            return true;
        }
        text_.put(c);
        return isXmlCharacter(c);
    }

    const char*& at_;
    const char* end_;
    Widening& text_;
};

}  // namespace

Reader::Reader(std::string_view document)
    : begin_(document.data()), at_(begin_), end_(begin_ + document.size()), tagBegin_(begin_) {}

Reader::Event Reader::next(std::u16string* text) {
    if (isEmptyElement_) {
        isEmptyElement_ = false;
        tagBegin_ = at_;
        return endElement();
    }
    if (!hasStarted_) {
        hasStarted_ = true;
        const bool isPlain = prolog();
        tagBegin_ = at_;
        return isPlain ? startTag() : Event::Odd;
    }
    if (depth_ == 0) {
        return passAsides() && at_ == end_ ? Event::Done : Event::Odd;
    }
    if (!content(text)) {
        return Event::Odd;
    }
    tagBegin_ = at_;
    return end_ - at_ > 1 && at_[1] == '/' ? endTag() : startTag();
}

const Reader::Attribute* Reader::attribute(std::string_view ns, std::string_view local) const noexcept {
    const auto* const found = std::find_if(attributesBegin(), attributesEnd(),
                                           [&](const Attribute& each) { return each.local == local && each.ns == ns; });
    return found == attributesEnd() ? nullptr : found;
}

bool Reader::take(char expected) noexcept {
    const bool isThere = at_ != end_ && *at_ == expected;
    at_ += isThere;
    return isThere;
}

bool Reader::take(std::string_view expected) noexcept {
    const bool isThere = startsWith(at_, end_, expected);
    at_ += isThere ? expected.size() : 0;
    return isThere;
}

bool Reader::takeSpaces() noexcept {
    const char* const start = at_;
    while (at_ != end_ && isSpace(*at_)) {
        ++at_;
    }
    return at_ != start;
}

bool Reader::prolog() noexcept {
    take("\xEF\xBB\xBF");
    if (isAtDeclaration() && !declaration()) {
        return false;
    }
    return passAsides() && at_ != end_ && *at_ == '<';
}

/// Whether this is a declaration, and not an instruction whose target begins with "xml".
bool Reader::isAtDeclaration() const noexcept {
    constexpr std::string_view kStart = "<?xml";
    return startsWith(at_, end_, kStart) && end_ - at_ > static_cast<std::ptrdiff_t>(kStart.size()) &&
           !isNameCharacter(at_[kStart.size()]);
}

/// Passes white space, comments and processing instructions. @returns false when one of them is malformed.
bool Reader::passAsides() noexcept {
    Aside aside = Aside::Passed;
    while (aside == Aside::Passed) {
        takeSpaces();
        aside = passAside(at_, end_);
    }
    return aside == Aside::None;
}

bool Reader::declaration() noexcept {
    return take("<?xml") && pseudoAttribute("version", "1.0", "1.0") && pseudoAttribute("encoding", "UTF-8", "utf-8") &&
           pseudoAttribute("standalone", "yes", "no") && (takeSpaces(), take("?>"));
}

/// Passes a pseudo-attribute of the declaration. @returns false when it has neither of the two values; only the version
/// must be there.
bool Reader::pseudoAttribute(std::string_view name, std::string_view value, std::string_view other) noexcept {
    const char* const start = at_;
    if (!takeSpaces() || !take(name)) {
        at_ = start;
        return name != "version";
    }
    const char quote = at_ + 1 < end_ ? at_[1] : '\0';
    if (!take('=') || (quote != '"' && quote != '\'')) {
        return false;
    }
    ++at_;
    return (take(value) || take(other)) && take(quote);
}

bool Reader::content(std::u16string* text) {
    if (end_ - at_ > 1 && at_[0] == '<' && at_[1] != '!' && at_[1] != '?') {
        return true;  // tag follows tag, with no text between
    }
    Widening widening(text);
    const bool isSure = Characters(at_, end_, widening).takeText();
    widening.flush();
    return isSure;
}

/// A document repeats few start tags very often. A tag whose bytes were read before in the same namespaces is not read
/// again.
Reader::Event Reader::startTag() {
    if (KnownTag* const known = findKnown()) {
        return repeat(*known);
    }
    const char* const start = at_;
    const std::size_t scope = scope_;
    const Event event = newStartTag();
    if (event == Event::Start && attributeCount_ < 2 && scope == scope_) {
        makeKnown(view(start, at_));
    }
    return event;
}

/// Whether the next bytes are those of a known tag. The same bytes mean the same where the same namespaces are bound.
bool Reader::isNext(const KnownTag& known) const noexcept {
    return known.scope == scope_ && startsWith(at_, end_, known.text);
}

/// Tries the tag first that followed the last one before: documents repeat their tags in the same order.
Reader::KnownTag* Reader::findKnown() noexcept {
    if (depth_ == kMaxDepth) {
        return nullptr;
    }
    KnownTag& likely = known_[known_[lastKnown_].next];
    if (isNext(likely)) {
        return &likely;
    }
    auto* const last = known_.data() + std::min(madeKnown_, known_.size());
    auto* const found = std::find_if(known_.data(), last, [this](const KnownTag& each) { return isNext(each); });
    return found == last ? nullptr : found;
}

Reader::Event Reader::repeat(KnownTag& known) noexcept {
    follow(known);
    at_ += known.text.size();
    firstAttribute_ = &known.attribute;
    attributeCount_ = known.attributeCount;
    isEmptyElement_ = known.tag.isEmptyElement;
    open_[depth_++] = {known.tag.name, bindingCount_};
    return Event::Start;
}

void Reader::makeKnown(std::string_view text) {
    KnownTag& known = known_[madeKnown_++ % known_.size()];
    known = {text, newTag_, attributes_[0], attributeCount_, scope_, 0};
    follow(known);
}

/// Makes a known tag the current one, and the one that is expected after the last.
void Reader::follow(KnownTag& known) noexcept {
    const auto place = static_cast<std::size_t>(&known - known_.data());
    known_[lastKnown_].next = place;
    lastKnown_ = place;
    tag_ = &known.tag;
}

Reader::Event Reader::newStartTag() {
    ++at_;
    QualifiedName name;
    const std::size_t bindings = bindingCount_;
    if (depth_ == kMaxDepth || !qualifiedName(name) || !attributes(bindings)) {
        return Event::Odd;
    }
    isEmptyElement_ = take('/');
    newTag_ = {name.whole, {}, name.local, isEmptyElement_, 0};
    tag_ = &newTag_;
    if (!take('>') || !resolve(name.prefix, newTag_.ns) || !resolveAttributes()) {
        return Event::Odd;
    }
    open_[depth_++] = {name.whole, bindings};
    return Event::Start;
}

Reader::Event Reader::endTag() {
    at_ += 2;
    if (!take(open_[depth_ - 1].name)) {
        return Event::Odd;
    }
    takeSpaces();
    return take('>') ? endElement() : Event::Odd;
}

/// Ends the element and the namespaces that it declared. The scope gets a new number only if there were any.
Reader::Event Reader::endElement() noexcept {
    const std::size_t bindings = open_[--depth_].bindings;
    scope_ += bindings == bindingCount_ ? 0 : 1;
    bindingCount_ = bindings;
    return Event::End;
}

bool Reader::qualifiedName(QualifiedName& name) noexcept {
    const char* const start = at_;
    if (!ncName()) {
        return false;
    }
    name = {view(start, at_), {}, view(start, at_)};
    if (!take(':')) {
        return true;
    }
    const char* const local = at_;
    const bool isWhole = ncName();
    name = {view(start, at_), view(start, local - 1), view(local, at_)};
    return isWhole;
}

bool Reader::ncName() noexcept {
    if (at_ == end_ || !isNameStart(*at_)) {
        return false;
    }
    at_ = skip<isNameCharacter>(at_, end_);
    return true;
}

/// @param bindings  how many there are outside of the element.
bool Reader::attributes(std::size_t bindings) noexcept {
    firstAttribute_ = attributes_.data();
    attributeCount_ = 0;
    while (takeSpaces() && at_ != end_ && *at_ != '>' && *at_ != '/') {
        if (!attribute(bindings)) {
            return false;
        }
    }
    return true;
}

bool Reader::attribute(std::size_t bindings) noexcept {
    QualifiedName name;
    Attribute read;
    if (!qualifiedName(name) || !take('=') || !attributeValue(read)) {
        return false;
    }
    if (name.whole == "xmlns" || name.prefix == "xmlns") {
        return bind(name.prefix.empty() ? std::string_view() : name.local, read, bindings);
    }
    read.prefix = name.prefix;
    read.local = name.local;
    const bool isRoom = attributeCount_ != kMaxAttributes;
    attributes_[isRoom ? attributeCount_++ : 0] = read;  // without room the document is Odd, and none counts
    return isRoom;
}

bool Reader::attributeValue(Attribute& attribute) noexcept {
    if (at_ == end_ || (*at_ != '"' && *at_ != '\'')) {
        return false;
    }
    const char quote = *at_++;
    const char* const start = at_;
    attribute.isVerbatim = true;
    for (at_ = skipPlainInValue(at_, end_); at_ != end_ && *at_ != quote; at_ = skipPlainInValue(at_, end_)) {
        if (!valueCharacter(attribute)) {
            return false;
        }
    }
    attribute.value = view(start, at_);
    return take(quote);
}

bool Reader::valueCharacter(Attribute& attribute) noexcept {
    const auto c = static_cast<unsigned char>(*at_);
    if (c >= 0x80) {
        return takeMultiByte(at_, end_) != 0;
    }
    attribute.isVerbatim = attribute.isVerbatim && c != '&' && !isSpace(*at_);
    if (c == '&') {
        return takeReference(at_, end_) != 0;
    }
    ++at_;
    return c != '<' && isXmlCharacter(c);
}

/// Binds a prefix. It refuses what Namespaces in XML 1.0 forbids or reserves (a prefix declared twice, undeclared, or
/// beginning with "xml"; the two fixed namespaces), and a value that would have to be normalised before it is compared.
bool Reader::bind(std::string_view prefix, const Attribute& declaration, std::size_t bindings) noexcept {
    const auto* const own = bindings_.data() + bindings;
    const auto* const last = bindings_.data() + bindingCount_;
    const bool isRepeated = std::any_of(own, last, [&](const Binding& each) { return each.prefix == prefix; });
    const bool isReserved =
        prefix.substr(0, 3) == "xml" || declaration.value == kXmlNamespace || declaration.value == kXmlnsNamespace;
    const bool isUndone = declaration.value.empty() && !prefix.empty();
    if (isRepeated || isReserved || isUndone || !declaration.isVerbatim || bindingCount_ == kMaxBindings) {
        return false;
    }
    bindings_[bindingCount_++] = {prefix, declaration.value};
    ++scope_;
    lastBinding_ = kMaxBindings;
    return true;
}

/// Prefixes of attributes are resolved when the whole tag is read, as a declaration may follow its use. Attributes are
/// the same if their namespaces and local names are, also under two prefixes.
bool Reader::resolveAttributes() noexcept {
    for (std::size_t i = 0; i != attributeCount_; ++i) {
        Attribute& each = attributes_[i];
        if (!each.prefix.empty() && !resolve(each.prefix, each.ns)) {
            return false;
        }
        const bool isRepeated = std::any_of(attributes_.data(), attributes_.data() + i, [&](const Attribute& other) {
            return other.local == each.local && other.ns == each.ns;
        });
        if (isRepeated) {
            return false;
        }
    }
    return true;
}

/// Finds the binding of a prefix, the innermost first. The last one that was found is tried first if no inner one can
/// hide it: bind() forgets it whenever it adds one. An unbound empty prefix means no namespace.
bool Reader::resolve(std::string_view prefix, std::string_view& ns) noexcept {
    if (prefix == "xml") {
        ns = kXmlNamespace;
        return true;
    }
    const bool isLast = lastBinding_ < bindingCount_ && bindings_[lastBinding_].prefix == prefix;
    for (std::size_t i = isLast ? lastBinding_ + 1 : bindingCount_; i != 0; --i) {
        if (bindings_[i - 1].prefix == prefix) {
            lastBinding_ = i - 1;
            ns = bindings_[i - 1].ns;
            return true;
        }
    }
    ns = {};
    return prefix.empty();
}

}  // namespace plainxml
