#include "kit/markdown/PipeTable.hpp"

#include "kit/document/Characters.hpp"

#include <algorithm>

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

}  // namespace

PipeTable pipeTableIn(std::string_view paragraph) {
    PipeTable rows;
    for (std::size_t number = 0; !paragraph.empty(); ++number) {
        const std::string_view line = paragraph.substr(0, paragraph.find('\n'));
        paragraph.remove_prefix(std::min(line.size() + 1, paragraph.size()));
        std::vector<std::string> cells = cellsOf(line);
        if (number != 1) {
            rows.push_back(std::move(cells));
        } else if (line.find('|') == std::string_view::npos || cells.size() != rows[0].size() ||
                   !std::all_of(cells.begin(), cells.end(), isRule)) {
            return {};
        }
        if (number == 0 && (rows[0].empty() || paragraph.empty())) {
            return {};
        }
    }
    return rows;
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

std::string pipeRule(std::size_t columns) {
    std::string line = "|";
    for (std::size_t i = 0; i < columns; ++i) {
        line += " --- |";
    }
    return line + "\n";
}

}  // namespace flowbook::kit
