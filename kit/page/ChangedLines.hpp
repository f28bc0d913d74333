#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Changes.hpp"
#include "kit/page/Markup.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// A line of one version.
struct VersionLine {
    std::string text;
    std::string label;  ///< the number of a line of code, or the style of a paragraph
    bool isCode = false;
    std::string look{};      ///< how it looks, in a form that is the same where the look is
    std::size_t markup = 0;  ///< a digest of all markup of its paragraph
};

struct VersionText {
    std::vector<VersionLine> lines;
    std::size_t around = 0;  ///< a digest of the markup around paragraphs, such as that of tables
};

/// The code, line by line, and all other text, a paragraph a line, in the order of the document; nothing where there is
/// none that can be read.
/// @param remains  what is left of the stored document, to be read in its place; may be empty.
VersionText textOf(const Document& document, const fl::Bytes& remains);

/// A text as lines; markup without line feeds is cut between its tags.
std::vector<VersionLine> linesOf(const std::string& text);

/// Writes where two versions differ, with some lines around, as a table of two columns that a narrow page shows as one.
/// Lines of the same text that look different are marked as such. Writes nothing when the versions are the same.
ChangesCount writeChangedLines(Markup& out, std::string_view label, const std::vector<VersionLine>& before,
                               const std::vector<VersionLine>& after);

}  // namespace flowbook::kit
