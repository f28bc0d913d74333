// Prints what is wrong with flowbooks. The exit code is that of the worst finding, so that a script or a hook can stop
// at errors and let warnings pass.
#include "Commands.hpp"
#include "commands/Findings.hpp"
#include "io/ForEachInput.hpp"
#include "io/SharedOptions.hpp"

#include <array>
#include <mutex>
#include <string_view>

namespace flowbook::tool {

namespace {

struct CheckOptions {
    InputOptions inputs;
    std::string format = "text";
};

/// SARIF is one text for all files, so nothing can be printed before the last of them has been checked.
/// What is found by several threads, for a report on all files at once.
struct AllFindings {
    std::mutex mutex;
    std::map<std::string, std::vector<kit::Finding>> byFile;
};

void writeRecord(Report& report, const std::vector<kit::Finding>& findings) {
    Json json = report.openRecord();
    json.key("findings").openArray();
    for (const kit::Finding& finding : findings) {
        json.openObject().field("severity", nameOf(finding.severity)).field("id", finding.id);
        json.field("part", finding.part).field("place", finding.place).field("message", finding.words).closeObject();
    }
    json.closeArray();
    report.closeRecord(json);
}

ExitCode codeOf(const kit::Finding& finding) {
    const ExitCode code = finding.isOfLimit ? ExitCode::LimitExceeded : ExitCode::Damaged;
    return finding.severity == kit::Severity::Error ? code : ExitCode::NegativeFinding;
}

/// @param sarif  takes the findings; null when each is printed here.
void check(const Input& input, Report& report, bool asJson, AllFindings* sarif) {
    std::vector<kit::Finding> findings = kit::check(input.name(), input.storage(), input.threads());
    for (const kit::Finding& finding : findings) {
        report.note(codeOf(finding));
        if (!asJson && sarif == nullptr) {
            report.line(describe(input.argument(), finding));
        }
    }
    if (asJson) {
        writeRecord(report, findings);
    } else if (sarif != nullptr) {
        const std::lock_guard<std::mutex> lock(sarif->mutex);
        sarif->byFile[input.argument()] = std::move(findings);
    }
}

constexpr std::string_view kAboutCheck =
    "Prints a line for each thing that reading would refuse, or lets pass: file, part, place, severity, "
    "what it is, and the name of its kind. Ends with 0 when nothing is found, with 1 for warnings, with 4 "
    "when reading would refuse something, and with 6 when something is beyond a limit.\n\n"
    "With --format=sarif one JSON text has all findings in the form that code review systems read "
    "(SARIF 2.1.0); its paths are those that were named.\n\n"
    "These are the kinds of findings. Their names stay what they are from version to version.";

constexpr std::string_view kNewParagraph = "\n\n";
constexpr std::string_view kMeans = ": ";

constexpr std::size_t kSizeOfDescription = [] {
    std::size_t size = kAboutCheck.size();
    for (const kit::FindingKind& kind : kit::kFindingKinds) {
        size += kNewParagraph.size() + kind.id.size() + kMeans.size() + kind.meaning.size();
    }
    return size;
}();

/// The description with a paragraph for each kind of finding. It is put together by the compiler, so that a start of
/// the command spends nothing on it.
constexpr auto kCheckDescription = [] {
    std::array<char, kSizeOfDescription> text{};
    std::size_t used = 0;
    const auto add = [&](std::string_view more) {
        for (const char c : more) {
            text[used++] = c;
        }
    };
    add(kAboutCheck);
    for (const kit::FindingKind& kind : kit::kFindingKinds) {
        for (const std::string_view more : {kNewParagraph, kind.id, kMeans, kind.meaning}) {
            add(more);
        }
    }
    return text;
}();

constexpr char kCheckExamples[] = "flowbook check folder\n"
                                  "git ls-files -z '*.tqx' | flowbook check -0 --files-from -\n"
                                  "flowbook check --json folder | jq -r '.findings[].id' | sort | uniq -c";

constexpr auto kCheckOptions =
    optionTable(kInputs<&CheckOptions::inputs>, kJson<&CheckOptions::inputs>,
                option<&CheckOptions::format>("--format", '\0', "text|sarif", "How the findings are printed")
                    .defaultsTo("text")
                    .excludes("--json"));

void checkAll(Console& console, CheckOptions& options) {
    AllFindings all;
    AllFindings* const sarif = options.format == "sarif" ? &all : nullptr;
    forEachInput(console, options.inputs,
                 [&](const Input& input, Report& report) { check(input, report, options.inputs.json, sarif); });
    if (sarif != nullptr) {
        writeSarif(console.out(), all.byFile);
    }
}

}  // namespace

const Command kCheck =
    makeCommand<CheckOptions, kCheckOptions, checkAll>({"check",
                                                        "Find what is wrong with flowbooks",
                                                        {kCheckDescription.data(), kCheckDescription.size()},
                                                        kCheckExamples,
                                                        "findings[]"});

}  // namespace flowbook::tool
