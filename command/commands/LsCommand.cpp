// Lists flowbooks, a line each. Rows are sorted when all are known, so they are kept until then; with --json there is a
// record as soon as a file has been read, in the order of the inputs.
#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/Records.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>
#include <mutex>

namespace flowbook::tool {

namespace {

struct LsOptions {
    InputOptions inputs;
    bool isLong = false;
    std::string sort;
};

/// What is listed of one flowbook.
struct Listed {
    std::string file;
    std::optional<kit::CodeForm> form;  ///< none when something cannot be read
    std::string fault;                  ///< what is wrong, in one word; empty for nothing
    std::uint64_t size = 0;
    std::optional<std::size_t> lines;  ///< none where the code cannot be read
    std::vector<kit::Property> properties;

    std::string valueOf(std::string_view label) const {
        for (const kit::Property& property : properties) {
            if (property.label == label) {
                return property.value.value_or("");
            }
        }
        return {};
    }
};

/// The rows that several threads find.
struct Rows {
    std::mutex mutex;
    std::vector<Listed> all;
};

std::size_t countLines(const std::u16string& code) {
    const auto feeds = static_cast<std::size_t>(std::count(code.begin(), code.end(), u'\n'));
    // A line feed at the end ends the last line and begins no other, as with wc(1) of what 'flowbook cat' prints.
    return feeds + (code.empty() || code.back() == u'\n' ? 0 : 1);
}

void readInto(Listed& row, const Input& input) {
    const kit::Document document = openDocument(input);
    row.properties = document.properties();
    const kit::CodeForm form = document.form();
    if (form == kit::CodeForm::Plain || form == kit::CodeForm::Rich) {
        row.lines = countLines(document.code());
    }
    // After the rest has been read, so that the row has all that can be known.
    for (const kit::Property& property : row.properties) {
        if (!property.fault.empty()) {
            throw kit::failureOf(property);
        }
    }
    row.form = form;
}

/// Returns what can be read; a failure is reported, and marks the flowbook. A file that is not there has no row.
std::optional<Listed> rowOf(const Input& input, Report& report) {
    std::optional<Listed> row(Listed{input.argument(), std::nullopt, "", 0, std::nullopt, {}});
    bool isThere = false;
    report.attempt(&input, [&] {
        row->size = input.storage()->openForReading(input.name())->size();
        isThere = true;
        try {
            readInto(*row, input);
        } catch (const std::exception&) {
            row->fault = nameOf(kindOf(diagnose().code));
            throw;
        }
    });
    // A file that was opened has a row even if it is damaged, so that a list of a folder has all its flowbooks.
    return isThere ? row : std::nullopt;
}

void writeRecord(Report& report, const Listed& row) {
    Json json = report.openRecord();
    if (row.form) {
        json.field("form", nameOf(*row.form));
    }
    json.count("size", row.size);
    if (row.lines) {
        json.count("lines", *row.lines);
    }
    writeProperties(json, row.properties);
    report.closeRecord(json);
}

/// The largest and the latest first, names and titles in the order of their bytes.
void sortRows(std::vector<Listed>& rows, const std::string& key) {
    const auto isBefore = [&key](const Listed& a, const Listed& b) {
        if (key == "size") {
            return a.size > b.size;
        }
        if (key == "lines") {
            return a.lines > b.lines;
        }
        if (key == "modified") {
            return a.valueOf(key) > b.valueOf(key);
        }
        return key == "title" ? a.valueOf(key) < b.valueOf(key) : a.file < b.file;
    };
    // Equal keys are in the order of names, and not in that in which the threads came to an end.
    std::sort(rows.begin(), rows.end(), [](const Listed& a, const Listed& b) { return a.file < b.file; });
    std::stable_sort(rows.begin(), rows.end(), isBefore);
}

std::string padded(std::string text, std::size_t width, bool isNumber) {
    const std::string blanks(width - std::min(width, text.size()), ' ');
    return isNumber ? blanks + text : text + blanks;
}

void print(Output& out, const Listed& row, bool isLong) {
    // The columns have a fixed width, so that rows of several runs stand below each other.
    constexpr std::size_t kFormWidth = 9;
    constexpr std::size_t kSizeWidth = 10;
    constexpr std::size_t kLinesWidth = 7;
    constexpr std::size_t kTimeWidth = 20;
    std::string line = padded(row.form ? nameOf(*row.form) : row.fault, kFormWidth, false) + "  ";
    if (isLong) {
        const std::string modified = row.valueOf("modified");
        line += padded(std::to_string(row.size), kSizeWidth, true) + "  ";
        line += padded(row.lines ? std::to_string(*row.lines) : "-", kLinesWidth, true) + "  ";
        line += padded(modified.empty() ? "-" : printable(modified), kTimeWidth, false) + "  ";
    }
    line += printable(row.file);
    const std::string title = row.valueOf("title");
    out.line(isLong && !title.empty() ? line + "  " + inQuotes(title) : line);
}

void list(Console& console, LsOptions& options) {
    Rows rows;
    forEachInput(console, options.inputs, [&](const Input& input, Report& report) {
        std::optional<Listed> row = rowOf(input, report);
        if (row && options.inputs.json) {
            writeRecord(report, *row);
        } else if (row) {
            const std::lock_guard<std::mutex> lock(rows.mutex);
            rows.all.push_back(std::move(*row));
        }
    });
    sortRows(rows.all, options.sort);
    for (const Listed& row : rows.all) {
        print(console.out(), row, options.isLong);
    }
}

constexpr char kLsDescription[] =
    "Prints a line for each flowbook: the form of its code (plain, rich, encrypted, none), or 'damaged' or 'limit' "
    "where something cannot be read, and its name; "
    "with -l also the size in bytes, the number of lines of code, the time of the last change that the flowbook has, "
    "and the title. What is not known is '-'. Sizes, lines and times are sorted with the largest and latest first. "
    "Records of --json come in the order of the inputs.";

constexpr char kLsExamples[] = "flowbook ls -l --sort=modified folder\n"
                               "flowbook ls folder | grep ^encrypted";

constexpr auto kLsOptions =
    optionTable(kInputs<&LsOptions::inputs>, kJson<&LsOptions::inputs>,
                flag<&LsOptions::isLong>("--long", 'l', "Print size, lines, last change and title, too"),
                option<&LsOptions::sort>("--sort", '\0', "name|size|lines|modified|title", "What comes first")
                    .defaultsTo("name")
                    .excludes("--json"));

}  // namespace

const Command kLs =
    makeCommand<LsOptions, kLsOptions, list>({"ls", "List flowbooks", kLsDescription, kLsExamples, "properties{}"});

}  // namespace flowbook::tool
