#pragma once

#include "kit/markdown/PipeTable.hpp"

#include <cmark.h>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

namespace flowbook::kit {

using NodePtr = std::unique_ptr<cmark_node, void (*)(cmark_node*)>;
using IteratorPtr = std::unique_ptr<cmark_iter, void (*)(cmark_iter*)>;

/// @throws std::bad_alloc
NodePtr parseMarkdown(std::string_view text);

/// A table with its cells taken apart: each is a paragraph, or null when it is empty.
struct MarkdownTable {
    std::vector<Alignment> columns;
    std::vector<std::vector<cmark_node*>> rows;
};

/// The tables of a text. cmark knows none: it takes them as paragraphs.
class MarkdownTables {
public:
    /// The first text of a cell begins with so many bytes that are not the document's.
    static constexpr std::size_t kUnseen = 2;

    /// @param document  what cmark has made of `text`, whose lines end in line feeds. Neither is needed afterwards.
    MarkdownTables(cmark_node* document, std::string_view text);

    /// The table that a paragraph of the document is; null when it is none.
    const MarkdownTable* at(cmark_node* paragraph) const;

private:
    NodePtr cells_;
    std::map<cmark_node*, MarkdownTable> tables_;
};

}  // namespace flowbook::kit
