#pragma once

#include "kit/document/XmlTree.hpp"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace flowbook::kit {

/// What a table says of itself: its title and its description.
std::string wordsAboutTable(const XmlNode& table);

/// The rows and cells of a table (ECMA-376-1, part 1, 17.4), with cells merged as HTML has them.
class TableGrid {
public:
    struct Cell {
        const XmlNode* node;  ///< null for a place that the row leaves free before its first cell
        std::size_t column;   ///< where it begins in the grid of the table
        std::size_t columns;  ///< that it spans
        std::size_t rows;
    };

    struct Row {
        bool isHead;
        std::vector<Cell> cells;
    };

    explicit TableGrid(const XmlNode& table);

    const std::vector<Row>& rows() const noexcept { return rows_; }

    /// What stands in the table and in no cell.
    const std::vector<const XmlNode*>& loose() const noexcept { return loose_; }

private:
    /// A merged cell, by its place in the rows.
    struct Merged {
        std::size_t row;
        std::size_t cell;
        std::size_t last;  ///< the row that it reaches to
    };

    void addRow(const XmlNode& row, std::map<std::size_t, Merged>& above);
    bool goesOn(const Merged& above, const XmlNode& cell, std::size_t columns) const;
    void leaveOutEmptyColumns();
    void collect(const XmlNode& node, std::string_view wanted, std::vector<const XmlNode*>& found);

    std::vector<Row> rows_;
    std::vector<const XmlNode*> loose_;
};

}  // namespace flowbook::kit
