#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Pieces.hpp"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// What the relationships of the document part lead to. The document must outlive this object.
class MarkdownTargets {
public:
    explicit MarkdownTargets(const Document& document);

    /// Where a hyperlink leads; empty for what lies in the package.
    std::string linkTo(const std::string& id) const;

    /// A picture as a data URI; nothing when there is none. @throws opc::Exception when it is damaged.
    std::optional<std::string> pictureAt(const std::string& id) const;

private:
    const Document& document_;
    std::map<std::string, opc::model::Relationship> byId_;
};

/// What a line is for: that of a heading or a cell cannot be broken but by an element.
enum class MarkdownLine { Paragraph, Heading, Cell };

/// The lines of one paragraph, in Markdown; of a heading or a cell it is one line.
std::vector<std::string> markdownLines(const std::vector<Piece>& pieces, const MarkdownTargets& targets,
                                       MarkdownLine kind);

/// The text with a backslash before each character that would be a mark within a line.
std::string withEscapes(std::string_view text, bool isHeading);

/// A line with the blanks kept that it has at its ends.
std::string withBlanks(std::string line);

/// A line of a paragraph with what would be the mark of a block at its start escaped, and blanks kept at both ends.
std::string guarded(std::string line);

/// What fences or marks of code take, so that a run of as many backticks does not end them.
std::string backticksFor(std::string_view code, std::size_t least);

}  // namespace flowbook::kit
