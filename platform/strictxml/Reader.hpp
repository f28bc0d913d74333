#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace strictxml {

/// A name as XML namespaces see it, with the prefix that it was written with; UTF-8.
struct Name {
    std::string_view ns;
    std::string_view local;
    std::string_view prefix;

    bool is(std::string_view otherNs, std::string_view otherLocal) const {
        return local == otherLocal && ns == otherNs;
    }
};

struct Attribute {
    Name name;
    std::string_view value;
};

/// Bytes of a document: from the first one to the one after the last.
struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// A start tag. Namespace declarations are not among the attributes.
struct Element {
    Name name;
    std::vector<Attribute> attributes;
    Range tag;

    /// Returns the value of an attribute in no namespace, or null when there is none.
    const std::string_view* attribute(std::string_view local) const {
        for (const Attribute& each : attributes) {
            if (each.name.is({}, local)) {
                return &each.value;
            }
        }
        return nullptr;
    }
};

/// Receives what a document holds, in its order, as UTF-8. All views end with the call that hands them over. An
/// exception that a handler throws ends the reading and reaches the caller of read().
class Handler {
public:
    virtual ~Handler() = default;

    virtual void startElement(const Element& element) = 0;

    /// @param tag  the end tag; no bytes when one tag is both start and end.
    virtual void endElement(const Name& name, Range tag) = 0;

    /// Text may come in several pieces.
    virtual void characters(std::string_view text) = 0;

    /// Comes before the element that declares the namespace. An empty prefix is the default namespace, which an empty
    /// URI undoes.
    virtual void startNamespace(std::string_view /*prefix*/, std::string_view /*uri*/) {}

protected:
    Handler() = default;
    Handler(const Handler&) = default;
    Handler& operator=(const Handler&) = default;
};

/// A handler throws this for a document that breaks rules of its own; read() adds the place and throws Malformed.
struct Fault {
    std::string message;
};

/// The document is not well-formed, or it is refused. The text begins with the line and the column, both from 1.
class Malformed : public std::runtime_error {
public:
    /// @param byHandler  whether the handler found the fault, in a document that was well-formed up to there.
    Malformed(const std::string& text, bool byHandler) : std::runtime_error(text), byHandler_(byHandler) {}

    bool isByHandler() const noexcept { return byHandler_; }

private:
    bool byHandler_;
};

enum class Encoding {
    Unicode,     ///< UTF-8 or UTF-16; a document that declares any other is refused
    AsDeclared,  ///< also the others that Expat knows: ISO 8859-1 and US-ASCII
    Utf8         ///< UTF-8, regardless of the declaration
};

struct Options {
    Encoding encoding = Encoding::Unicode;
};

/// Reads a document to its end. It refuses every document type declaration, so no entity is ever defined and nothing
/// outside the document is ever opened. Several threads may read at the same time, each with its own handler.
/// @throws Malformed, std::bad_alloc, and what the handler throws.
void read(std::string_view document, const Options& options, Handler& handler);

}  // namespace strictxml
