#include "Commands.hpp"
#include "commands/Change.hpp"
#include "commands/Sources.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

struct SetOptions {
    InputOptions inputs;
    std::optional<std::string> code;
    std::optional<std::string> rich;
    Change change;
};

/// Reads what is to be set once for all files.
void prepare(SetOptions& options) {
    Change& change = options.change;
    if (options.code) {
        change.code = fromUtf8(readSource(*options.code), *options.code);
    }
    if (options.rich) {
        change.rich = readRichCode(*options.rich);
    }
    if (change.empty()) {
        throw Failure(ExitCode::Usage, "'set' takes files and at least one thing to set (see flowbook help set)");
    }
    change.checkProperties();
}

void setAll(Console& console, SetOptions& options) {
    prepare(options);
    forEachInput(
        console, options.inputs, [&](const Input& input, Report&) { apply(options.change, input); },
        Input::Purpose::Update);
}

constexpr char kSetDescription[] =
    "What is not named stays as it is. A file is updated at once, or not at all, and not touched when "
    "nothing would change. Plain code for a flowbook with rich code goes into its code paragraphs when it "
    "has as many lines as they have, or when all that changed lies in one of them. Otherwise, if it would "
    "drop prose or pictures around the code, it is refused with 1, unless --flatten is given.";

constexpr char kSetExamples[] = "flowbook set analysis.tqx --version 1.3\n"
                                "make-code | flowbook set analysis.tqx --code - --description ''";

constexpr auto kSetOptions = optionTable(
    kInputs<&SetOptions::inputs>,
    option<&SetOptions::code>("--code", '\0', "SOURCE", "File with plain code").excludes("--rich"),
    option<&SetOptions::rich>("--rich", '\0', "SOURCE", "File with a rich code document"),
    flag<&SetOptions::change, &Change::flatten>("--flatten", '\0', "Drop what is around the code, if need be")
        .needs("--code"),
    flag<&SetOptions::change, &Change::replaceEncrypted>("--replace-encrypted", '\0',
                                                         "Let new code replace encrypted code"),
    kPropertyOptions<&SetOptions::change, &Change::properties>);

}  // namespace

const Command kSet = makeCommand<SetOptions, kSetOptions, setAll>(
    {"set", "Change the code or properties of flowbooks", kSetDescription, kSetExamples});

}  // namespace flowbook::tool
