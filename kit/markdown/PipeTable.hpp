#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

enum class Alignment { None, Left, Center, Right };

/// A table whose cells stand between bars, as GitHub Flavored Markdown writes one; each cell is Markdown within a line.
struct PipeTable {
    std::vector<Alignment> columns;
    std::vector<std::vector<std::string>> rows;
};

/// Takes a paragraph as a table: a row, a row of dashes with as many cells, and further rows. Cells beyond those of the
/// first row are kept, so that no text is lost.
/// @param paragraph  its lines as they stand in the text, without the marks of quotes. @returns without any row when it
/// is no table.
PipeTable pipeTableIn(const std::vector<std::string_view>& paragraph);

/// Writes a row of cells as a line. A bar in a cell gets a backslash; code that holds one must be marked by `<code>`,
/// as backslashes in backticks stay.
std::string pipeRow(const std::vector<std::string>& cells);

/// The row of dashes below the first row, which makes a table of them.
std::string pipeRule(const std::vector<Alignment>& columns);

}  // namespace flowbook::kit
