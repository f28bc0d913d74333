#pragma once

#include "kit/document/Document.hpp"

#include <string>

namespace flowbook::kit {

/// The code and the prose of a flowbook as Markdown (CommonMark 0.30), UTF-8: headings, paragraphs, lists, quotes and
/// links; code between fences; pictures as data URIs in their places. Looks that CommonMark has no marks for are HTML
/// elements (<u>, <s>, <sup>, <sub>). readMarkdown() makes the same blocks of it again, but for what Markdown cannot
/// say: tables come as lines of cells, formulas as their letters, headings below the sixth level as those of the sixth.
/// Empty when there is no code or it is encrypted.
/// @throws opc::Exception when the document cannot be read, or a picture of it is damaged.
std::string writeMarkdown(const Document& document);

}  // namespace flowbook::kit
