#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace plainxml {

/// Reads the plain subset of XML in one pass over UTF-8 bytes: elements and attributes with ASCII names in namespaces,
/// text, CDATA sections, the five predefined entities and character references. It is sure of what it tells: a document
/// that it reads to its end is well-formed (XML 1.0 and Namespaces in XML 1.0), and any other parser reads it alike.
/// All else is Odd, be it malformed or merely unusual (a comment, a carriage return, an encoding, deep nesting):
/// another parser has to decide.
///
/// Never throws but for what appending to a text throws. Views into the document, which must outlive the reader.
class Reader {
public:
    enum class Event : unsigned char { Start, End, Done, Odd };

    struct Attribute {
        std::string_view prefix, local, ns;
        std::string_view value;   ///< as it stands between the quotes
        bool isVerbatim = false;  ///< no reference and no white space but blanks: the value is what the document means
    };

    explicit Reader(std::string_view document);

    /// Goes on to the next tag. An empty element starts and ends.
    /// @param text  gets the characters before it; null to check them only.
    Event next(std::u16string* text);

    /// Of the element that has just started; the namespace is empty for none.
    std::string_view ns() const noexcept { return ns_; }
    std::string_view local() const noexcept { return local_; }
    /// Null when the element has no such attribute.
    const Attribute* attribute(std::string_view ns, std::string_view local) const noexcept;
    /// All of them, namespace declarations aside, in the order of the document; after an end tag they tell nothing.
    const Attribute* attributesBegin() const noexcept { return attributes_.data(); }
    const Attribute* attributesEnd() const noexcept { return attributes_.data() + attributeCount_; }

private:
    // Far more than usual documents have, and below the limits of other parsers.
    static constexpr std::size_t kMaxDepth = 32;
    static constexpr std::size_t kMaxAttributes = 16;
    static constexpr std::size_t kMaxBindings = 64;
    static constexpr std::size_t kKnownTags = 16;
    static constexpr std::ptrdiff_t kShortestTag = 5;

    struct QualifiedName {
        std::string_view whole, prefix, local;
    };
    struct Binding {
        std::string_view prefix, ns;
    };
    /// A start tag that declares no namespaces and has one attribute at most, to be known again: documents are made of
    /// few different ones.
    struct KnownTag {
        std::string_view tag, name, ns, local;
        Attribute attribute;
        std::size_t scope = 0;
        bool hasAttribute = false;
        bool isEmptyElement = false;
    };
    struct OpenElement {
        std::string_view name;
        std::size_t bindings;  ///< how many there are outside of it
    };

    bool take(char expected) noexcept;
    bool take(std::string_view expected) noexcept;
    bool takeSpaces() noexcept;
    bool prolog() noexcept;
    bool declaration() noexcept;
    bool pseudoAttribute(std::string_view name, std::string_view value, std::string_view other) noexcept;

    bool content(std::u16string* text);
    Event startTag();
    Event repeat(const KnownTag& known) noexcept;
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

    const char* at_;
    const char* end_;
    std::string_view ns_, local_;
    std::array<OpenElement, kMaxDepth> open_;
    std::size_t depth_ = 0;
    std::array<Attribute, kMaxAttributes> attributes_;
    std::size_t attributeCount_ = 0;
    std::array<Binding, kMaxBindings> bindings_;
    std::size_t bindingCount_ = 0;
    std::size_t lastBinding_ = kMaxBindings;  ///< that resolved a prefix; the next one mostly is the same
    std::array<KnownTag, kKnownTags> known_;
    std::size_t scope_ = 1;  ///< another one whenever other namespaces are bound
    bool hasStarted_ = false;
    bool isEmptyElement_ = false;
};

}  // namespace plainxml
