#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "kit/check/Check.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

constexpr char kCheckFooter[] =
    "Prints a line for each finding: file, part, place, severity, what it is, and the name of its kind.\n"
    "Ends with 0 when nothing is found, with 1 for warnings, with 4 when reading would refuse something.\n\n"
    "Examples:\n"
    "  flowbook check folder\n"
    "  git ls-files -z '*.tqx' | flowbook check -0 --files-from -\n"
    "  flowbook check --json folder | jq -r '.findings[].id' | sort | uniq -c";

std::string describe(const std::string& file, const kit::Finding& finding) {
    const std::string place = finding.place.empty() ? "" : ", " + finding.place;
    return printable(file + ": " + finding.part + place + ": " + nameOf(finding.severity) + ": " + finding.words +
                     " [" + finding.id + "]");
}

void tellRecord(Report& report, const std::vector<kit::Finding>& findings) {
    Json json = report.openRecord();
    json.key("findings").openArray();
    for (const kit::Finding& finding : findings) {
        json.openObject().field("severity", nameOf(finding.severity)).field("id", finding.id);
        json.field("part", finding.part).field("place", finding.place).field("words", finding.words).closeObject();
    }
    json.closeArray();
    report.closeRecord(json);
}

void check(const Input& input, Report& report, bool asJson) {
    const std::vector<kit::Finding> findings = kit::check(input.name(), input.storage());
    for (const kit::Finding& finding : findings) {
        report.note(finding.severity == kit::Severity::Error ? ExitCode::Damaged : ExitCode::NegativeFinding);
        if (!asJson) {
            report.line(describe(input.argument(), finding));
        }
    }
    if (asJson) {
        tellRecord(report, findings);
    }
}

}  // namespace

void addCheckCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("check", "Find what is wrong with flowbooks", kCheckFooter);
    const auto options = std::make_shared<InputOptions>();
    options->addTo(command);
    options->addJsonTo(command);
    command.run([options, &console] {
        forEachInput(console, *options,
                     [&](const Input& input, Report& report) { check(input, report, options->json); });
    });
}

}  // namespace flowbook::tool
