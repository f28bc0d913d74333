#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/HeldFile.hpp"
#include "kit/package/PackageContent.hpp"

namespace flowbook::tool {

namespace {

constexpr char kCanonFooter[] =
    "Rewrites the container in one fixed form: order, times, compression and content types; ids and\n"
    "order of relationships stay. Equal contents then are equal files; one in that form is left alone.\n\n"
    "Examples:\n"
    "  flowbook canon analysis.tqx\n"
    "  flowbook canon --check folder";

struct CanonOptions {
    InputOptions inputs;
    bool check = false;
};

void canon(const Input& input, Report& report, bool onlyCheck) {
    HeldFile file(input);
    const Bytes canonical = kit::canonical(kit::Document(file.bytes()));
    if (canonical == file.bytes()) {
        return;
    }
    if (onlyCheck) {
        report.line(input.argument());
        report.note(ExitCode::NegativeFinding);
    } else {
        file.replace(canonical);
    }
}

}  // namespace

void addCanonCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("canon", "Rewrite flowbooks in one fixed form", kCanonFooter);
    const auto options = std::make_shared<CanonOptions>();
    options->inputs.addTo(command);
    command.flag("--check", options->check, "Change nothing; name the files that would change and end with 1");
    command.run([options, &console] {
        forEachInput(
            console, options->inputs, [&](const Input& input, Report& report) { canon(input, report, options->check); },
            Input::Purpose::Update);
    });
}

}  // namespace flowbook::tool
