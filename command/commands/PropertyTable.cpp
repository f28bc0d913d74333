// Reads a table of properties (RFC 4180). It is read whole and checked before any file is changed, and each fault names
// its line. An empty cell leaves a property as it is and an empty one in quotes empties it, as spreadsheets write the
// first.
#include "commands/PropertyTable.hpp"

#include "commands/Sources.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <utility>

namespace flowbook::tool {

namespace {

struct Cell {
    std::string text;
    bool isQuoted = false;
};

using CsvRow = std::vector<Cell>;

/// Takes a table apart, a row at a time.
class CsvReader {
public:
    CsvReader(std::string file, const std::string& text) : file_(std::move(file)), text_(text) {
        // Spreadsheets write a byte order mark; it would be a part of the first column's name.
        if (text_.rfind("\xEF\xBB\xBF", 0) == 0) {
            at_ = 3;
        }
    }

    bool atEnd() const noexcept { return at_ >= text_.size(); }

    [[noreturn]] void fail(const std::string& message) const {
        throw Failure(ExitCode::Usage, file_, "line " + std::to_string(line_) + ": " + message);
    }

    CsvRow next() {
        // A cell in quotation marks may hold line feeds, so a row may have several lines.
        line_ += 1 + linesInRow_;
        linesInRow_ = 0;
        CsvRow row{cell()};
        while (!atEnd() && text_[at_] == ',') {
            ++at_;
            row.push_back(cell());
        }
        at_ += text_.compare(at_, 2, "\r\n") == 0 ? 1 : 0;
        if (!atEnd() && text_[at_++] != '\n') {
            fail("a quotation mark ends a cell, so that a comma or the end of the line must follow");
        }
        return row;
    }

private:
    Cell cell() {
        if (!atEnd() && text_[at_] == '"') {
            return quotedCell();
        }
        const std::size_t end = std::min(text_.find_first_of(",\n", at_), text_.size());
        std::string text = text_.substr(at_, end - at_);
        at_ = end;
        // Rows end in CR and LF in the standard, and in LF alone in many files.
        if (!text.empty() && text.back() == '\r') {
            text.pop_back();
        }
        return {std::move(text), false};
    }

    Cell quotedCell() {
        Cell cell{"", true};
        for (++at_; at_ < text_.size(); ++at_) {
            // Two quotation marks in a cell stand for one.
            if (text_[at_] == '"' && text_.compare(at_, 2, "\"\"") != 0) {
                ++at_;
                return cell;
            }
            at_ += text_[at_] == '"' ? 1 : 0;
            linesInRow_ += text_[at_] == '\n' ? 1 : 0;
            cell.text += text_[at_];
        }
        fail("a cell has no closing quotation mark");
    }

    std::string file_;
    const std::string& text_;
    std::size_t at_ = 0;
    std::size_t line_ = 0;
    std::size_t linesInRow_ = 0;
};

using Column = std::optional<std::string> PropertyOptions::*;

/// The property of each column; null for the column of files.
std::vector<Column> readColumns(CsvReader& reader, const std::string& argument) {
    const std::pair<const char*, Column> known[] = {{"file", nullptr},
                                                    {"title", &PropertyOptions::title},
                                                    {"description", &PropertyOptions::description},
                                                    {"version", &PropertyOptions::version}};
    std::vector<Column> columns;
    if (reader.atEnd()) {
        throw Failure(ExitCode::Usage, argument, "the table is empty");
    }
    for (const Cell& cell : reader.next()) {
        const auto* const found =
            std::find_if(std::begin(known), std::end(known), [&](const auto& each) { return each.first == cell.text; });
        if (found == std::end(known)) {
            reader.fail("there is no column '" + cell.text + "'; columns are file, title, description and version");
        }
        if (std::count(columns.begin(), columns.end(), found->second) != 0) {
            reader.fail("the column '" + cell.text + "' is there twice");
        }
        columns.push_back(found->second);
    }
    if (std::count(columns.begin(), columns.end(), Column(nullptr)) == 0) {
        reader.fail("the column 'file' is missing");
    }
    return columns;
}

/// The file of a row, and what its other cells set. An empty cell sets nothing, unless it is quoted.
std::pair<std::string, PropertyOptions> readRow(CsvReader& reader, const CsvRow& row,
                                                const std::vector<Column>& columns) {
    std::pair<std::string, PropertyOptions> result;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (columns[i] == nullptr) {
            result.first = row[i].text;
        } else if (row[i].isQuoted || !row[i].text.empty()) {
            result.second.*columns[i] = row[i].text;
        }
    }
    try {
        // Checked here, so that the message names the line, and no file has been changed yet.
        result.second.check();
    } catch (const Failure& failure) {
        reader.fail(failure.what());
    }
    return result;
}

}  // namespace

PropertyTable readPropertyTable(const std::string& argument) {
    const std::string text = toText(readSource(argument));
    CsvReader reader(argument, text);
    const std::vector<Column> columns = readColumns(reader, argument);
    PropertyTable table;
    while (!reader.atEnd()) {
        const CsvRow row = reader.next();
        // An empty line, as many programs leave one at the end.
        if (row.size() == 1 && row.front().text.empty()) {
            continue;
        }
        if (row.size() != columns.size()) {
            reader.fail(std::to_string(row.size()) + " cells, where the first line has " +
                        std::to_string(columns.size()));
        }
        const auto [file, properties] = readRow(reader, row, columns);
        if (file.empty() || !table.emplace(file, properties).second) {
            reader.fail(file.empty() ? "no file is named" : "the file '" + file + "' is there twice");
        }
    }
    return table;
}

}  // namespace flowbook::tool
