#pragma once

#include "fl/Bytes.hpp"
#include "opc/model/Package.hpp"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace flowbook::kit {

/// A picture and its media type, such as "image/png".
struct MarkdownPicture {
    std::string mediaType;
    fl::Bytes content;
};

/// Finds the picture that a document names by `destination`. Nothing stands for one that lies elsewhere, to which the
/// flowbook then has a link. What it throws passes through.
using PictureSource = std::function<std::optional<MarkdownPicture>(const std::string& destination)>;

/// Makes Markdown (CommonMark 0.30, and tables) the document of a flowbook: headings, paragraphs, lists, quotes,
/// tables, links and pictures become prose; fenced and indented code becomes the code, a block a paragraph. HTML stays
/// as text, but for the elements of looks that writeMarkdown() uses; comments are left out.
/// @param package  open for update. @param utf8  the text, less a byte order mark.
/// @throws opc::Exception as apply() of kit/document/Change.hpp; std::bad_alloc.
void readMarkdown(opc::model::Package& package, std::string_view utf8, const PictureSource& pictures);

}  // namespace flowbook::kit
