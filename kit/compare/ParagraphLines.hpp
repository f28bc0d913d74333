#pragma once

#include "fl/Bytes.hpp"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace flowbook::kit {

/// A rich code document cut into lines that can be merged: what comes before and after the paragraphs, and in between
/// a line for each paragraph, table or the like, or several for one that holds nothing but lines of code. What a line
/// stands for is told by its first character.
struct ParagraphLines {
    std::string head;
    std::string lines;
    std::string tail;
    std::map<std::string, std::string> namespaces;  ///< that the lines may use, by prefix
};

/// @param keepTogether  whether lines of code that share a paragraph, and CDATA, are to be so again. Documents that
///                      differ in that throughout are compared better without.
/// @returns nothing for a document that is malformed, has no body, or does not call the word namespace "w".
std::optional<ParagraphLines> cutIntoLines(const fl::Bytes& document, bool keepTogether);

/// The document that lines make; a line that cutIntoLines() does not write, such as a conflict marker, becomes a code
/// paragraph.
fl::Bytes joinLines(const ParagraphLines& lines);

}  // namespace flowbook::kit
