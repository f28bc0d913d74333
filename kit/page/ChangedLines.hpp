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
};

/// The code, line by line, and all other text, a paragraph a line, in the order of the document; nothing where there is
/// none that can be read.
std::vector<VersionLine> linesOf(const Document& document);

/// A text as lines; markup without line feeds is cut between its tags.
std::vector<VersionLine> linesOf(const std::string& text);

/// Writes where two versions differ, with some lines around, as a table of two columns that a narrow page shows as one.
/// Writes nothing when they do not differ.
ChangesCount writeChangedLines(Markup& out, std::string_view label, const std::vector<VersionLine>& before,
                               const std::vector<VersionLine>& after);

}  // namespace flowbook::kit
