#include "kit/markdown/MarkdownTables.hpp"

#include "kit/document/Characters.hpp"

#include <algorithm>
#include <new>
#include <string>

namespace flowbook::kit {

namespace {

/// Stands before each cell: no mark of anything, and a blank as before the start of a line. It keeps the start of a
/// cell from being the mark of a block.
constexpr std::string_view kStartOfCell = "} ";
static_assert(kStartOfCell.size() == MarkdownTables::kUnseen);

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t at = 0; at <= text.size(); at += lines.back().size() + 1) {
        lines.push_back(text.substr(at, text.find('\n', at) - at));
    }
    return lines;
}

/// How many quotes a block stands in.
std::size_t quotesAround(cmark_node* block) {
    std::size_t count = 0;
    for (cmark_node* node = block; node != nullptr; node = cmark_node_parent(node)) {
        count += cmark_node_get_type(node) == CMARK_NODE_BLOCK_QUOTE ? 1 : 0;
    }
    return count;
}

/// A line without the marks of the quotes that it stands in, of which it may lack some (CommonMark 5.1, laziness).
std::string_view withoutQuotes(std::string_view line, std::size_t quotes) {
    for (; quotes != 0; --quotes) {
        const std::size_t mark = line.find_first_not_of(" \t");
        line.remove_prefix(mark != std::string_view::npos && line[mark] == '>' ? mark + 1 : 0);
    }
    return line;
}

/// The lines that a paragraph was read from, less what stands before them for the blocks around it.
std::vector<std::string_view> linesOf(cmark_node* paragraph, const std::vector<std::string_view>& lines) {
    const auto first = static_cast<std::size_t>(cmark_node_get_start_line(paragraph)) - 1;
    const auto end = std::min(static_cast<std::size_t>(cmark_node_get_end_line(paragraph)), lines.size());
    const auto column = static_cast<std::size_t>(cmark_node_get_start_column(paragraph)) - 1;
    const std::size_t quotes = quotesAround(paragraph);
    std::vector<std::string_view> own;
    for (std::size_t number = first; number < end; ++number) {
        const std::string_view line = lines[number];
        own.push_back(number == first ? line.substr(std::min(column, line.size())) : withoutQuotes(line, quotes));
    }
    return own;
}

struct Found {
    cmark_node* paragraph;
    PipeTable table;
};

std::vector<Found> findTables(cmark_node* document, std::string_view text) {
    const std::vector<std::string_view> lines = linesOf(text);
    std::vector<Found> found;
    const IteratorPtr walk(cmark_iter_new(document), &cmark_iter_free);
    for (cmark_event_type event = cmark_iter_next(walk.get()); event != CMARK_EVENT_DONE;
         event = cmark_iter_next(walk.get())) {
        cmark_node* const node = cmark_iter_get_node(walk.get());
        if (event == CMARK_EVENT_ENTER && cmark_node_get_type(node) == CMARK_NODE_PARAGRAPH) {
            PipeTable table = pipeTableIn(linesOf(node, lines));
            if (!table.rows.empty()) {
                found.push_back({node, std::move(table)});
            }
        }
    }
    return found;
}

void addParagraphs(std::string& text, const std::vector<std::string>& row) {
    for (const std::string& cell : row) {
        if (!cell.empty()) {
            text.append(kStartOfCell).append(cell).append("\n\n");
        }
    }
}

/// A text with a paragraph for each cell that is not empty.
std::string asParagraphs(const std::vector<Found>& tables) {
    std::string text;
    for (const Found& each : tables) {
        for (const auto& row : each.table.rows) {
            addParagraphs(text, row);
        }
    }
    return text;
}

}  // namespace

NodePtr parseMarkdown(std::string_view text) {
    NodePtr document(cmark_parse_document(text.data(), text.size(), CMARK_OPT_DEFAULT), &cmark_node_free);
    if (document == nullptr) {
        throw std::bad_alloc();
    }
    return document;
}

MarkdownTables::MarkdownTables(cmark_node* document, std::string_view text) : cells_(nullptr, &cmark_node_free) {
    const std::vector<Found> found = findTables(document, text);
    if (found.empty()) {
        return;
    }
    // The text behind the cells has the targets of the links that name one defined elsewhere.
    cells_ = parseMarkdown(asParagraphs(found).append(text));
    cmark_node* next = cmark_node_first_child(cells_.get());
    for (const Found& each : found) {
        MarkdownTable& table = tables_[each.paragraph];
        table.columns = each.table.columns;
        for (const auto& row : each.table.rows) {
            std::vector<cmark_node*>& cells = table.rows.emplace_back();
            for (const std::string& cell : row) {
                cells.push_back(cell.empty() ? nullptr : next);
                next = cell.empty() ? next : cmark_node_next(next);
            }
        }
    }
}

const MarkdownTable* MarkdownTables::at(cmark_node* paragraph) const {
    const auto found = tables_.find(paragraph);
    return found == tables_.end() ? nullptr : &found->second;
}

}  // namespace flowbook::kit
