#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace plainxml {

/// Reads the plain subset of XML in one pass over UTF-8 bytes: elements and attributes with ASCII names in namespaces,
/// text, CDATA sections, the five predefined entities and character references. It passes over comments and processing
/// instructions. It reports only what is certain: a document that it reads to its end is well-formed (XML 1.0 and
/// Namespaces in XML 1.0), and any other parser reads the same from it. All else is Odd, whether malformed or merely
/// unusual (names beyond ASCII, an encoding, deep nesting); then another parser has to decide.
///
/// Throws nothing but what appending to a text throws. The document must outlive the reader, which refers to it.
class Reader {
public:
    enum class Event : unsigned char { Start, End, Done, Odd };

    struct Attribute {
        std::string_view prefix, local, ns;
        std::string_view value;   ///< as it stands between the quotes
        bool isVerbatim = false;  ///< no reference and no white space but blanks: the value is what the document means
    };

    struct Binding {
        std::string_view prefix, ns;
    };

    explicit Reader(std::string_view document);
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Goes on to the next tag. An empty element starts and ends.
    /// @param text  gets the characters before it; null to check them only.
    Event next(std::u16string* text);

    /// Of the element that has just started; the namespace is empty for none.
    std::string_view ns() const noexcept { return tag_->ns; }
    std::string_view local() const noexcept { return tag_->local; }
    std::string_view prefix() const noexcept {
        return tag_->name.substr(0, tag_->name.size() - tag_->local.size() - (tag_->name == tag_->local ? 0 : 1));
    }
    /// The namespaces that are bound in it, in the order of their declarations.
    const Binding* bindingsBegin() const noexcept { return bindings_.data(); }
    const Binding* bindingsEnd() const noexcept { return bindings_.data() + bindingCount_; }
    /// Where the last tag begins and ends in the document; it has no bytes where one tag is both start and end.
    std::size_t tagBegin() const noexcept { return static_cast<std::size_t>(tagBegin_ - begin_); }
    std::size_t tagEnd() const noexcept { return static_cast<std::size_t>(at_ - begin_); }
    /// What the caller takes the start tag for: 0 until it is set, then the same whenever the tag is met again.
    unsigned char& meaning() noexcept { return tag_->meaning; }
    /// Null when the element has no such attribute.
    const Attribute* attribute(std::string_view ns, std::string_view local) const noexcept;
    /// All of them, namespace declarations aside, in the order of the document; after an end tag there are none.
    const Attribute* attributesBegin() const noexcept { return firstAttribute_; }
    const Attribute* attributesEnd() const noexcept { return firstAttribute_ + attributeCount_; }

private:
    // Far more than usual documents have, and below the limits of other parsers.
    static constexpr std::size_t kMaxDepth = 32;
    static constexpr std::size_t kMaxAttributes = 16;
    static constexpr std::size_t kMaxBindings = 64;
    static constexpr std::size_t kKnownTags = 16;

    struct QualifiedName {
        std::string_view whole, prefix, local;
    };
    struct Tag {
        std::string_view name, ns, local;
        bool isEmptyElement = false;
        unsigned char meaning = 0;
    };
    /// A start tag that was read before and can be recognised by its bytes. It declares no namespaces and has at most
    /// one attribute. Documents consist of few different start tags, which follow each other in the same order.
    struct KnownTag {
        std::string_view text;
        Tag tag;
        Attribute attribute;
        std::size_t attributeCount = 0;
        std::size_t scope = 0;
        std::size_t next = 0;  ///< the known tag that followed this one the last time
    };
    struct OpenElement {
        std::string_view name;
        std::size_t bindings;  ///< how many there are outside of it
    };

    bool take(char expected) noexcept;
    bool take(std::string_view expected) noexcept;
    bool takeSpaces() noexcept;
    bool prolog() noexcept;
    bool isAtDeclaration() const noexcept;
    bool passAsides() noexcept;
    bool declaration() noexcept;
    bool pseudoAttribute(std::string_view name, std::string_view value, std::string_view other) noexcept;

    bool content(std::u16string* text);
    Event startTag();
    bool isNext(const KnownTag& known) const noexcept;
    KnownTag* findKnown() noexcept;
    Event repeat(KnownTag& known) noexcept;
    void makeKnown(std::string_view text);
    void follow(KnownTag& known) noexcept;
    Event newStartTag();
    Event endTag();
    Event endElement() noexcept;

    bool qualifiedName(QualifiedName& name) noexcept;
    bool ncName() noexcept;
    bool attributes(std::size_t bindings) noexcept;
    bool attribute(std::size_t bindings) noexcept;
    bool attributeValue(Attribute& attribute) noexcept;
    bool valueCharacter(Attribute& attribute) noexcept;
    bool bind(std::string_view prefix, const Attribute& declaration, std::size_t bindings) noexcept;
    bool resolveAttributes() noexcept;
    bool resolve(std::string_view prefix, std::string_view& ns) noexcept;

    const char* begin_;
    const char* at_;
    const char* end_;
    const char* tagBegin_;
    Tag newTag_;
    Tag* tag_ = &newTag_;
    std::array<OpenElement, kMaxDepth> open_;
    std::size_t depth_ = 0;
    std::array<Attribute, kMaxAttributes> attributes_;
    const Attribute* firstAttribute_ = attributes_.data();
    std::size_t attributeCount_ = 0;
    std::array<Binding, kMaxBindings> bindings_;
    std::size_t bindingCount_ = 0;
    std::size_t lastBinding_ = kMaxBindings;  ///< that resolved a prefix; most often the next is the same
    std::array<KnownTag, kKnownTags> known_;
    std::size_t madeKnown_ = 0;  ///< counts also those whose places others have taken
    std::size_t lastKnown_ = 0;
    std::size_t scope_ = 1;  ///< a number that changes whenever the bound namespaces do
    bool hasStarted_ = false;
    bool isEmptyElement_ = false;
};

}  // namespace plainxml
