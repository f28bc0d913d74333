#pragma once

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

/// Writes a table, of which the first row holds the names of the columns. A bar in a cell gets a backslash; code that
/// holds one must be marked by `<code>`, as backslashes in backticks stay. Nothing for a table without a cell.
std::string pipeTable(const PipeTable& table);

}  // namespace flowbook::kit
