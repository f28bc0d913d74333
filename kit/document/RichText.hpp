#pragma once

#include "fl/Bytes.hpp"
#include "kit/document/XmlReader.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// The namespace of the attributes by which a text refers to relationships, such as `r:id`.
inline constexpr std::string_view kRelationshipNamespace =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

/// The namespace of rich code (ECMA-376-1, WordprocessingML).
inline constexpr std::string_view kWordNamespace = "http://schemas.openxmlformats.org/wordprocessingml/2006/main";

/// Text of one look. Formatting is what run properties, or the run's style "Strong" or "Emphasis", say.
struct Run {
    std::string text;     ///< UTF-8; a tab or line feed for the elements that stand for them
    std::string link;     ///< the relationship of the document part that a hyperlink names; else empty
    std::string picture;  ///< likewise of a picture that stands here
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;

    bool looksAs(const Run& other) const;
};

struct Paragraph {
    std::string style;  ///< as the paragraph names it; empty for none
    int heading = 0;    ///< 1 to 9 by the outline level or the style "Heading<n>", "Title" is 1; else 0
    std::vector<Run> runs;
    /// The text that counts as code, which the runs hold too: the first text of the first run of a paragraph of the
    /// style "code" that stands directly in the body. It may have several lines.
    std::optional<std::string> code;
    bool isBlock = false;  ///< whether it stands directly in the body
    XmlSpan span{};        ///< in the document's bytes
    XmlSpan codeText{};    ///< of the element that `code` was read from, between its tags; empty for <w:t/>

    /// The text of all runs.
    std::string text() const;
};

/// The paragraphs of a rich code document in document order, those of tables and boxes included.
struct RichText {
    std::vector<Paragraph> paragraphs;
    XmlSpan body{};               ///< what the first body holds, in the document's bytes; empty when there is none
    std::vector<XmlSpan> blocks;  ///< the children of that body, paragraphs or not
    /// Why the paragraphs end before the document does; empty when all were read.
    std::string fault;
};

/// The number after "heading" in a style such as "Heading2" or "heading 2", 1 for "Title"; 0 for other styles.
int headingOf(std::string_view style);

/// @param where  opens the text of a fault.
/// @throws std::bad_alloc only.
RichText readRichText(const fl::Bytes& document, const std::string& where);

}  // namespace flowbook::kit
