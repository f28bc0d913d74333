#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// The text as UTF-8, or nothing when XML 1.0 has no way to hold it: control characters, lone surrogates,
/// U+FFFE and U+FFFF.
std::optional<std::string> toXmlText(std::u16string_view text);

/// Writes an XML document in UTF-8, with no white space of its own. All texts are UTF-8 that XML may hold, and
/// come back from a parse exactly as they were given.
class XmlWriter {
public:
    enum class Kind {
        Document,  ///< begins with an XML declaration
        Fragment
    };

    explicit XmlWriter(Kind kind = Kind::Document);

    XmlWriter& start(std::string_view qualifiedName);

    /// Belongs to the element started last, before its content.
    XmlWriter& attribute(std::string_view qualifiedName, std::string_view value);
    XmlWriter& text(std::string_view text);
    XmlWriter& end();

    /// An element with nothing but text.
    XmlWriter& element(std::string_view qualifiedName, std::string_view content);

    std::vector<unsigned char> finish() { return std::move(bytes_); }

private:
    void append(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }
    void appendEscaped(std::string_view text, bool inAttribute);
    void closeStartTag();

    std::vector<unsigned char> bytes_;
    std::vector<std::string> open_;
    bool inStartTag_ = false;
};

}  // namespace opc::model::detail
