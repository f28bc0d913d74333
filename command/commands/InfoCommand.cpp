#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/Records.hpp"
#include "io/SharedOptions.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

struct InfoOptions {
    InputOptions inputs;
};

struct FileInfo {
    std::optional<kit::CodeForm> form;  ///< none when it cannot be read
    std::vector<kit::Property> properties;
    std::vector<opc::model::Part> parts;
};

/// One fault may be that of several properties.
void printFaults(const std::vector<kit::Property>& properties, const Input& input, Report& report) {
    const std::string* last = nullptr;
    for (const kit::Property& property : properties) {
        if (!property.fault.empty() && (last == nullptr || *last != property.fault)) {
            report.attempt(&input, [&] { throw kit::failureOf(property); });
            last = &property.fault;
        }
    }
}

/// Returns what can be read, and reports what cannot.
FileInfo look(const kit::Document& document, const Input& input, Report& report) {
    FileInfo info;
    report.attempt(&input, [&] { info.form = document.form(); });
    info.properties = document.properties();
    printFaults(info.properties, input, report);
    info.parts = document.package().getParts();
    return info;
}

void printField(Report& report, std::string label, const std::string& value) {
    label.resize(12, ' ');
    report.line("  " + label + value);
}

void printProperty(Report& report, const kit::Property& property) {
    if (property.value) {
        printField(report, property.label, property.isTime ? *property.value : inQuotes(*property.value));
    } else {
        printField(report, property.label, property.fault.empty() ? "(absent)" : "(faulty)");
    }
}

void printText(Report& report, const std::string& file, const FileInfo& info) {
    report.line(printable(file));
    if (info.form) {
        printField(report, "code", nameOf(*info.form));
    }
    for (const kit::Property& property : info.properties) {
        printProperty(report, property);
    }
    for (const opc::model::Part& part : info.parts) {
        printField(report, "part",
                   part.getName().ascii() + "  " + printable(typeOf(part)) + "  " + std::to_string(part.getSize()) +
                       " bytes, stored " + std::to_string(part.getStoredSize()));
    }
}

void printRecord(Report& report, const FileInfo& info) {
    Json json = report.openRecord();
    if (info.form) {
        json.field("form", nameOf(*info.form));
    }
    writeProperties(json, info.properties);
    writeParts(json, info.parts);
    report.closeRecord(json);
}

void showInfo(const Input& input, Report& report, bool json) {
    const kit::Document document = openDocument(input);
    const FileInfo info = look(document, input, report);
    report.note(info.form == kit::CodeForm::None ? ExitCode::NegativeFinding : ExitCode::Fine);
    if (json) {
        printRecord(report, info);
    } else {
        printText(report, input.argument(), info);
    }
}

constexpr char kInfoDescription[] =
    "The form of the code is plain, rich, encrypted or none. What can be read of a damaged file is shown. "
    "Ends with 1 when a file holds no code. In JSON a property that is absent is null.";

constexpr char kInfoExamples[] = "flowbook info analysis.tqx\n"
                                 "flowbook info --json folder | jq -r .properties.title";

constexpr auto kInfoOptions = optionTable(kInputs<&InfoOptions::inputs>, kJson<&InfoOptions::inputs>);

void infoAll(Console& console, InfoOptions& options) {
    forEachInput(console, options.inputs,
                 [&](const Input& input, Report& report) { showInfo(input, report, options.inputs.json); });
}

}  // namespace

const Command kInfo =
    makeCommand<InfoOptions, kInfoOptions, infoAll>({"info", "Print the form of the code, the properties and the parts",
                                                     kInfoDescription, kInfoExamples, "properties{} parts[]"});

}  // namespace flowbook::tool
