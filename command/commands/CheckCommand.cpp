#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"
#include "kit/check/Check.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

struct CheckOptions {
    InputOptions inputs;
};

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
        json.field("part", finding.part).field("place", finding.place).field("message", finding.words).closeObject();
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

constexpr char kCheckDescription[] =
    "Prints a line for each thing that reading would refuse, or lets pass: file, part, place, severity, "
    "what it is, and the name of its kind. Ends with 0 when nothing is found, with 1 for warnings, with 4 "
    "when reading would refuse something.";

constexpr char kCheckExamples[] = "flowbook check folder\n"
                                  "git ls-files -z '*.tqx' | flowbook check -0 --files-from -\n"
                                  "flowbook check --json folder | jq -r '.findings[].id' | sort | uniq -c";

constexpr auto kCheckOptions = optionTable(kInputs<&CheckOptions::inputs>, kJson<&CheckOptions::inputs>);

void checkAll(Console& console, CheckOptions& options) {
    forEachInput(console, options.inputs,
                 [&](const Input& input, Report& report) { check(input, report, options.inputs.json); });
}

}  // namespace

const Command kCheck = makeCommand<CheckOptions, kCheckOptions, checkAll>(
    {"check", "Find what is wrong with flowbooks", kCheckDescription, kCheckExamples, "findings[]"});

}  // namespace flowbook::tool
