#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// The rows of a table whose cells stand between bars, as GitHub Flavored Markdown writes one; each cell is Markdown
/// within a line.
using PipeTable = std::vector<std::vector<std::string>>;

/// Takes a paragraph as a table: a row, a row of dashes with as many cells, and further rows. Cells beyond those of the
/// first row are kept, so that no text is lost.
/// @param paragraph  its lines as they stand in the text. @returns nothing but the rows; empty when it is no table.
PipeTable pipeTableIn(std::string_view paragraph);

/// Writes a row of cells as a line. A bar in a cell gets a backslash; code that holds one must be marked by `<code>`,
/// as backslashes in backticks stay.
std::string pipeRow(const std::vector<std::string>& cells);

/// The row of dashes below the first row, which makes a table of them.
std::string pipeRule(std::size_t columns);

}  // namespace flowbook::kit
