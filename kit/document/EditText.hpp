#pragma once

#include "fl/Bytes.hpp"

#include <string>
#include <string_view>

namespace flowbook::kit {

/// A rich code document as text in which its code can be edited (docs/format.md describes the form). A code paragraph
/// of one line is that line; one of several lines stands between the lines "::{" and "::}". What else the body
/// holds is a line such as ":: 3 [Heading1] Running mean", which only can be kept, moved or removed whole. Of a
/// paragraph with more than code in it the opening line has the rest: "::{ 4 [beside] see below". A line of code that
/// begins with backslashes and "::", or with "::", has one more backslash in front.
/// @returns UTF-8; every line ends in a line feed. @throws opc::Exception (damaged) for a malformed document.
std::string editText(const fl::Bytes& document);

/// The document that an edited text stands for. What is kept has the same bytes as before; code that was changed keeps
/// the markup of its paragraph, and code that was added becomes new paragraphs. A document in another encoding that is
/// changed becomes UTF-8.
/// @param text  a change of what editText() gives for the document.
/// @throws opc::Exception (damaged) for a malformed document; (misuse), with the line, for prose that was changed or
///         repeated, and for blocks that are not closed.
fl::Bytes withEditText(const fl::Bytes& document, std::string_view text);

}  // namespace flowbook::kit
