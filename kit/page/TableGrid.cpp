#include "kit/page/TableGrid.hpp"

#include "kit/page/Pieces.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>

namespace flowbook::kit {

namespace {

constexpr std::size_t kMostColumns = 1000;  // what HTML permits

std::string_view settingIn(const XmlNode& node, std::string_view properties, std::string_view name) {
    const XmlNode* const all = node.child(properties);
    return all == nullptr ? std::string_view() : all->valueOf(name);
}

bool hasSetting(const XmlNode& node, std::string_view properties, std::string_view name) {
    const XmlNode* const all = node.child(properties);
    return all != nullptr && all->child(name) != nullptr;
}

std::size_t columnsIn(std::string_view text, std::size_t otherwise) {
    std::size_t number = otherwise;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return std::min(number, kMostColumns);
}

bool showsSomething(const XmlNode& node) {
    const std::vector<Piece> pieces = piecesOf(node);
    return std::any_of(pieces.begin(), pieces.end(), [](const Piece& piece) {
        return piece.kind == Piece::Kind::Blocks ? showsSomething(*piece.node) || !wordsAboutTable(*piece.node).empty()
                                                 : isShown(piece);
    });
}

/// Whether the cell goes on with the one above it. One that holds something is shown apart all the same.
bool isContinued(const XmlNode& cell) {
    return hasSetting(cell, "tcPr", "vMerge") && settingIn(cell, "tcPr", "vMerge") != "restart" &&
           !showsSomething(cell);
}

bool isHeadRow(const XmlNode& row) {
    const std::string_view value = settingIn(row, "trPr", "tblHeader");
    return hasSetting(row, "trPr", "tblHeader") && value != "0" && value != "false" && value != "off";
}

}  // namespace

std::string wordsAboutTable(const XmlNode& table) {
    std::string words;
    for (const std::string_view name : {"tblCaption", "tblDescription"}) {
        const std::string_view more = settingIn(table, "tblPr", name);
        words += isBlankText(more) ? "" : (words.empty() ? "" : ": ") + std::string(more);
    }
    return words;
}

TableGrid::TableGrid(const XmlNode& table) {
    std::vector<const XmlNode*> rows;
    collect(table, "tr", rows);
    std::map<std::size_t, Merged> above;  // by column
    for (const XmlNode* row : rows) {
        addRow(*row, above);
    }
    leaveOutEmptyColumns();
}

/// HTML has no column in which no cell begins.
void TableGrid::leaveOutEmptyColumns() {
    std::set<std::size_t> begun;
    for (const Row& row : rows_) {
        for (const Cell& cell : row.cells) {
            begun.insert(cell.column);
        }
    }
    for (Row& row : rows_) {
        for (Cell& cell : row.cells) {
            const auto first = begun.find(cell.column);
            const auto end = begun.lower_bound(cell.column + cell.columns);
            cell.columns = std::min(static_cast<std::size_t>(std::distance(first, end)), kMostColumns);
        }
    }
}

/// Whether a cell of the last row goes on with a cell above it.
bool TableGrid::goesOn(const Merged& above, const XmlNode& cell, std::size_t columns) const {
    return above.last + 2 == rows_.size() && rows_[above.row].cells[above.cell].columns == columns && isContinued(cell);
}

void TableGrid::addRow(const XmlNode& row, std::map<std::size_t, Merged>& above) {
    const std::size_t at = rows_.size();
    rows_.push_back({isHeadRow(row) && (at == 0 || rows_.back().isHead), {}});
    std::vector<const XmlNode*> cells;
    collect(row, "tc", cells);
    std::size_t column = columnsIn(settingIn(row, "trPr", "gridBefore"), 0);
    if (column != 0 && !cells.empty()) {
        rows_.back().cells.push_back({nullptr, 0, column, 1});
    }
    std::vector<Merged*> continued;
    for (const XmlNode* cell : cells) {
        const std::size_t columns = std::max<std::size_t>(columnsIn(settingIn(*cell, "tcPr", "gridSpan"), 1), 1);
        const auto merged = above.find(column);
        if (merged != above.end() && goesOn(merged->second, *cell, columns)) {
            continued.push_back(&merged->second);
        } else {
            above[column] = {at, rows_.back().cells.size(), at};
            rows_.back().cells.push_back({cell, column, columns, 1});
        }
        column += columns;
    }
    if (rows_.back().cells.empty()) {
        return rows_.pop_back();  // HTML has no row in which no cell begins.
    }
    for (Merged* cell : continued) {
        ++rows_[cell->row].cells[cell->cell].rows;
        cell->last = at;
    }
}

/// Elements of a name, also those that containers hold, such as content controls.
void TableGrid::collect(const XmlNode& node, std::string_view wanted, std::vector<const XmlNode*>& found) {
    for (const XmlNode& child : node.children) {
        const XmlNode* const shown = child.local == "AlternateContent" ? shownAlternative(child) : &child;
        if (child.local == wanted) {
            found.push_back(&child);
        } else if (shown != nullptr && !isSettings(child) &&
                   (shown->child(wanted) != nullptr || shown->child("sdtContent") != nullptr)) {
            collect(*shown, wanted, found);
        } else if (child.isText() ? !isBlankText(child.text) : !isSettings(child)) {
            loose_.push_back(&child);
        }
    }
}

}  // namespace flowbook::kit
