#pragma once

#include "kit/document/Document.hpp"

#include <string>

namespace flowbook::kit {

/// The code and the prose of a flowbook as Markdown (CommonMark 0.30), UTF-8: headings, paragraphs, lists, quotes,
/// tables, links; code between fences; pictures as data URIs in their places. Looks that CommonMark has no marks for
/// are HTML elements (<u>, <s>, <sup>, <sub>). readMarkdown() makes the same blocks of it again, but for what Markdown
/// cannot say: merged cells and tables in cells, formulas, which come as their letters, headings below the sixth level.
/// Empty when there is no code or it is encrypted.
/// @throws opc::Exception when the document cannot be read, or a picture of it is damaged.
std::string writeMarkdown(const Document& document);

}  // namespace flowbook::kit
