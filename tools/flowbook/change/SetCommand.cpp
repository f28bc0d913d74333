#include "Commands.hpp"
#include "change/PropertyOptions.hpp"
#include "inputs/Attempt.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

constexpr char kFooter[] = "What is not named stays as it is. The file is updated at once, or not at all.\n\n"
                           "Examples:\n"
                           "  flowbook set analysis.tqx --version 1.3\n"
                           "  make-code | flowbook set analysis.tqx --code - --description ''";

struct SetOptions {
    std::string file;
    std::optional<std::string> code;
    PropertyOptions properties;
};

void update(const Input& input, const SetOptions& options) {
    if (input.argument() == "-" || (!options.code && options.properties.empty())) {
        throw Failure(ExitCode::Usage, "'set' takes a file and at least one thing to set (see flowbook set --help)");
    }
    // The writer would make a file that is not there.
    input.openReader();
    FlowbookFileWriter writer(input.name(), {});
    if (options.code) {
        writer.setTARMICCode(fromUtf8(readBytes(*options.code, opc::Limits().maxPartSize), *options.code));
    }
    options.properties.applyTo(writer);
    writer.close(false);
}

}  // namespace

void addSetCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("set", "Change the code or properties of a flowbook", kFooter);
    const auto options = std::make_shared<SetOptions>();
    command.require("FILE", options->file, "Flowbook to update");
    command.allow("--code", options->code, "File with plain code");
    options->properties.addTo(command);
    command.run([options, &console] {
        attemptFile(console, options->file, [&](const Input& input) { update(input, *options); });
    });
}

}  // namespace flowbook::tool
