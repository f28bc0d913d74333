#include "Commands.hpp"
#include "commands/Change.hpp"
#include "commands/Sources.hpp"
#include "io/ForEachInput.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

constexpr char kSetFooter[] =
    "What is not named stays as it is. A file is updated at once, or not at all, and not touched\n"
    "when nothing would change. Plain code that would drop prose or pictures around the code is\n"
    "refused without --flatten.\n\n"
    "Examples:\n"
    "  flowbook set analysis.tqx --version 1.3\n"
    "  make-code | flowbook set analysis.tqx --code - --description ''";

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

void run(Console& console, SetOptions& options) {
    prepare(options);
    forEachInput(
        console, options.inputs, [&](const Input& input, Report&) { apply(options.change, input); },
        Input::Purpose::Update);
}

}  // namespace

void addSetCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("set", "Change the code or properties of flowbooks", kSetFooter);
    const auto options = std::make_shared<SetOptions>();
    options->inputs.addTo(command);
    command.allow("--code", options->code, "File with plain code");
    command.allow("--rich", options->rich, "File with a rich code document");
    command.exclude("--rich", "--code");
    command.flag("--flatten", options->change.flatten, "Drop what is around the code, if need be");
    command.need("--flatten", "--code");
    options->change.properties.addTo(command);
    command.run([options, &console] { attempt(console, "", [&] { run(console, *options); }); });
}

}  // namespace flowbook::tool
