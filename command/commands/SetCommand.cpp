// Sets code and properties. What is to be set is read and checked before the first flowbook is opened, so that a fault
// in it changes none of them.
#include "Commands.hpp"
#include "commands/NewContent.hpp"
#include "commands/PropertyTable.hpp"
#include "commands/Sources.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

struct SetOptions {
    ChangeOptions changes;
    std::optional<std::string> table;
    std::optional<std::string> code;
    std::optional<std::string> rich;
    NewContent content;
    PropertyTable rows;
};

/// Reads what is to be set once for all files.
void prepare(SetOptions& options) {
    NewContent& content = options.content;
    const std::vector<std::string>& files = options.changes.inputs.files;
    if ((options.code == "-" || options.rich == "-") && std::count(files.begin(), files.end(), "-") != 0) {
        throw Failure(ExitCode::Usage, "standard input cannot be both the flowbook and what is set");
    }
    if (options.code) {
        content.code = fromUtf8(readSource(*options.code), *options.code);
    }
    if (options.rich) {
        content.rich = readRichCode(*options.rich);
    }
    if (options.table) {
        options.rows = readPropertyTable(*options.table);
        for (const auto& [file, properties] : options.rows) {
            options.changes.inputs.files.push_back(file);
        }
    } else if (content.empty()) {
        throw Failure(ExitCode::Usage, "'set' takes files and at least one thing to set (see flowbook help set)");
    }
    content.properties.check();
}

void setAll(Console& console, SetOptions& options) {
    prepare(options);
    changeEachInput(console, options.changes, [&](const Input& input, Report&) {
        const auto row = options.rows.find(input.argument());
        if (options.table && row == options.rows.end()) {
            throw Failure(ExitCode::Usage, "the table names a folder, where it takes a file");
        }
        if (!options.table) {
            return apply(options.content, input, options.changes.dryRun);
        }
        NewContent content = options.content;
        content.properties.add(row->second);
        return apply(content, input, options.changes.dryRun);
    });
}

constexpr char kSetDescription[] =
    "What is not named stays as it is. A file is updated at once, or not at all, and not touched when "
    "nothing would change. Plain code for a flowbook with rich code goes into its code paragraphs when it "
    "has as many lines as they have, or when all that changed lies in one of them. Otherwise, if it would "
    "drop prose or pictures around the code, it is refused with 1, unless --flatten is given. With '-' as "
    "INPUT a flowbook comes by standard input and goes, changed, to standard output.";

constexpr char kSetExamples[] = "flowbook set analysis.tqx --version 1.3\n"
                                "flowbook set --from titles.csv --dry-run\n"
                                "make-code | flowbook set analysis.tqx --code - --description ''";

constexpr auto kSetOptions = optionTable(
    kChanges<&SetOptions::changes>,
    option<&SetOptions::table>("--from", '\0', "TABLE", "Set the properties that a table of files has")
        .excludes("INPUT... --files-from")
        .explained(
            "TABLE holds comma-separated values in UTF-8; '-' is standard input. Its first line names the columns: "
            "file, and some of title, description and version. A cell that is empty leaves the property as it "
            "is; one that is \"\" empties it."),
    option<&SetOptions::code>("--code", '\0', "SOURCE", "File with plain code").excludes("--rich"),
    option<&SetOptions::rich>("--rich", '\0', "SOURCE", "File with a rich code document"),
    flag<&SetOptions::content, &NewContent::flatten>("--flatten", '\0', "Drop what is around the code, if need be")
        .needs("--code"),
    flag<&SetOptions::content, &NewContent::replaceEncrypted>("--replace-encrypted", '\0',
                                                              "Let new code replace encrypted code"),
    kPropertyOptions<&SetOptions::content, &NewContent::properties>);

}  // namespace

const Command kSet = makeCommand<SetOptions, kSetOptions, setAll>(
    {"set", "Change the code or properties of flowbooks", kSetDescription, kSetExamples});

}  // namespace flowbook::tool
