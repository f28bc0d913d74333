// Writes findings for people, and in the form that services which review code read (SARIF 2.1.0).
#include "commands/Findings.hpp"

#include "flowbook/FlowbookVersion.hpp"
#include "terminal/Json.hpp"
#include "terminal/Text.hpp"

#include <set>

namespace flowbook::tool {

namespace {

/// A path as a relative or absolute reference (RFC 3986); bytes that it must not hold are percent-encoded.
std::string asUri(const std::string& path) {
    constexpr std::string_view kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/!$&'()*+,;=@";
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string uri;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (kPlain.find(c) != std::string_view::npos) {
            uri += c;
        } else {
            uri.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
        }
    }
    return uri;
}

void writeTool(Json& json, const std::set<std::string>& kinds) {
    json.key("tool").openObject().key("driver").openObject().field("name", "flowbook");
    json.field("version", libpxflowbook_version).key("rules").openArray();
    for (const std::string& kind : kinds) {
        json.openObject().field("id", kind).closeObject();
    }
    json.closeArray().closeObject().closeObject();
}

void writeResult(Json& json, const std::string& file, const kit::Finding& finding) {
    const std::string place = finding.part + (finding.place.empty() ? "" : ", " + finding.place);
    json.openObject().field("ruleId", finding.id).field("level", nameOf(finding.severity));
    json.key("message").openObject().field("text", place + ": " + finding.words).closeObject();
    json.key("locations").openArray().openObject();
    json.key("physicalLocation").openObject().key("artifactLocation").openObject();
    json.field("uri", asUri(file)).closeObject().closeObject();
    json.key("logicalLocations").openArray().openObject().field("fullyQualifiedName", place).closeObject().closeArray();
    json.closeObject().closeArray().closeObject();
}

}  // namespace

std::string describe(const std::string& file, const kit::Finding& finding) {
    const std::string place = finding.place.empty() ? "" : ", " + finding.place;
    return printable(file + ": " + finding.part + place + ": " + nameOf(finding.severity) + ": " + finding.words +
                     " [" + finding.id + "]");
}

void writeSarif(Sink& out, const std::map<std::string, std::vector<kit::Finding>>& findings) {
    std::set<std::string> kinds;
    for (const auto& [file, all] : findings) {
        for (const kit::Finding& finding : all) {
            kinds.insert(finding.id);
        }
    }
    Json json(out);
    json.openObject().field("$schema", "https://json.schemastore.org/sarif-2.1.0.json").field("version", "2.1.0");
    json.key("runs").openArray().openObject();
    writeTool(json, kinds);
    json.key("results").openArray();
    for (const auto& [file, all] : findings) {
        for (const kit::Finding& finding : all) {
            writeResult(json, file, finding);
        }
    }
    json.closeArray().closeObject().closeArray().closeObject();
    out.line("");
}

}  // namespace flowbook::tool
