// Tables of Markdown (GitHub's extension), which the parser does not know: it hands them over as paragraphs.
#include "kit/markdown/PipeTable.hpp"

#include "kit/document/Characters.hpp"

#include <algorithm>
#include <iterator>

namespace flowbook::kit {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

/// The cells of a line. A bar at its start and one at its end only enclose them.
std::vector<std::string> cellsOf(std::string_view line) {
    line = trimmed(line);
    line.remove_prefix(startsWith(line, "|") ? 1 : 0);
    std::vector<std::string> cells;
    std::string cell;
    bool isOpen = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        isOpen = line[at] != '|';
        if (!isOpen) {
            cells.emplace_back(trimmed(cell));
            cell.clear();
        } else if (line[at] == '\\' && at + 1 < line.size()) {
            cell += line[at + 1] == '|' ? "|" : std::string(line.substr(at, 2));
            ++at;
        } else {
            cell += line[at];
        }
    }
    if (isOpen) {
        cells.emplace_back(trimmed(cell));
    }
    return cells;
}

/// Dashes, perhaps with a colon at either end, which says how a column is aligned.
bool isRule(std::string_view cell) {
    cell.remove_prefix(startsWith(cell, ":") ? 1 : 0);
    cell.remove_suffix(endsWith(cell, ":") ? 1 : 0);
    return !cell.empty() && cell.find_first_not_of('-') == std::string_view::npos;
}

Alignment alignmentOf(std::string_view rule) {
    const bool isLeft = startsWith(rule, ":");
    if (endsWith(rule, ":")) {
        return isLeft ? Alignment::Center : Alignment::Right;
    }
    return isLeft ? Alignment::Left : Alignment::None;
}

std::string_view dashesOf(Alignment alignment) {
    switch (alignment) {
    case Alignment::Left:
        return ":--";
    case Alignment::Center:
        return ":-:";
    case Alignment::Right:
        return "--:";
    case Alignment::None:
        break;
    }
    return "---";
}

}  // namespace

PipeTable pipeTableIn(const std::vector<std::string_view>& paragraph) {
    if (paragraph.size() < 2 || paragraph[1].find('|') == std::string_view::npos) {
        return {};
    }
    PipeTable table;
    table.rows.push_back(cellsOf(paragraph[0]));
    const std::vector<std::string> rules = cellsOf(paragraph[1]);
    if (rules.size() != table.rows[0].size() || !std::all_of(rules.begin(), rules.end(), isRule)) {
        return {};
    }
    std::transform(rules.begin(), rules.end(), std::back_inserter(table.columns), alignmentOf);
    std::transform(paragraph.begin() + 2, paragraph.end(), std::back_inserter(table.rows), cellsOf);
    return table;
}

std::string pipeRow(const std::vector<std::string>& cells) {
    std::string line = "|";
    for (const std::string& cell : cells) {
        line += " ";
        for (const char c : cell) {
            line += c == '|' ? "\\|" : std::string(1, c);
        }
        line += " |";
    }
    return line + "\n";
}

std::string pipeRule(const std::vector<Alignment>& columns) {
    std::string line = "|";
    for (const Alignment alignment : columns) {
        line.append(" ").append(dashesOf(alignment)).append(" |");
    }
    return line + "\n";
}

}  // namespace flowbook::kit
