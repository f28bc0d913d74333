#include "Commands.hpp"
#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "inputs/Attempt.hpp"
#include "inputs/PackageView.hpp"
#include "terminal/Text.hpp"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/date_time/posix_time/time_formatters.hpp>
#include <boost/json.hpp>
#include <optional>

namespace flowbook::tool {

namespace {

constexpr char kFooter[] = "Ends with 1 when a file holds no code.\n\n"
                           "Examples:\n"
                           "  flowbook info analysis.tqx\n"
                           "  flowbook info --json *.tqx | jq -r .title";

constexpr char kNoCode[] = "none";

struct Property {
    const char* label;
    std::optional<std::string> value;
    bool isText = true;
};

struct PartInfo {
    std::string name;
    std::string contentType;
    std::uint64_t size;
    std::uint64_t storedSize;
};

struct FileInfo {
    std::string form;
    std::vector<Property> properties;
    std::vector<PartInfo> parts;
};

class Discard : public opc::OutputStream {
public:
    void write(const void*, std::size_t) override {}
};

std::string formOfClearCode(const FlowbookFileReader& reader) { return reader.isPlainCode() ? "plain" : "rich"; }

std::string formOf(const FlowbookFileReader& reader) {
    try {
        Discard discard;
        reader.getEncryptedRichTARMICCode(discard);
        return "encrypted";
    } catch (const FlowbookNotEncrypted&) {
        return formOfClearCode(reader);
    } catch (const FlowbookNotFound&) {
        return kNoCode;
    }
}

std::string toText(const std::u16string& value) { return fl::i18n::to_string(value); }

std::string toText(const boost::posix_time::ptime& time) {
    return boost::posix_time::to_iso_extended_string(time) + "Z";
}

template <class T>
std::optional<std::string> valueOf(const FlowbookFileReader& reader, T (FlowbookFileReader::*getter)() const) {
    try {
        return toText((reader.*getter)());
    } catch (const FlowbookPropertyNotFound&) {
        return std::nullopt;
    }
}

/// The release alone does not tell absent and empty apart.
std::optional<std::string> releaseOf(const FlowbookFileReader& reader) {
    const std::u16string release = reader.getTARMICRelease();
    return release.empty() ? std::nullopt : std::make_optional(toText(release));
}

std::vector<Property> propertiesOf(const FlowbookFileReader& reader) {
    return {{"title", valueOf(reader, &FlowbookFileReader::getTitle)},
            {"description", valueOf(reader, &FlowbookFileReader::getDescription)},
            {"version", valueOf(reader, &FlowbookFileReader::getVersion)},
            {"release", releaseOf(reader)},
            {"created", valueOf(reader, &FlowbookFileReader::getCreatedTime), false},
            {"modified", valueOf(reader, &FlowbookFileReader::getLastModifiedTime), false}};
}

std::vector<PartInfo> partsOf(const Input& input) {
    PackageView view(input);
    std::vector<PartInfo> parts;
    for (const opc::model::Part& part : view.package().getParts()) {
        parts.push_back(
            {part.getName().ascii(), toText(part.getContentType().toString()), part.getSize(), part.getStoredSize()});
    }
    return parts;
}

void printText(Output& out, const std::string& file, const FileInfo& info) {
    const auto printField = [&out](std::string label, const std::string& value) {
        label.resize(12, ' ');
        out.line("  " + label + value);
    };
    out.line(printable(file));
    printField("code", info.form);
    for (const Property& property : info.properties) {
        const std::string value = property.value.value_or("(absent)");
        printField(property.label, property.value && property.isText ? inQuotes(value) : value);
    }
    for (const PartInfo& part : info.parts) {
        printField("part", part.name + "  " + printable(part.contentType) + "  " + std::to_string(part.size) +
                               " bytes, stored " + std::to_string(part.storedSize));
    }
}

boost::json::array toJson(const std::vector<PartInfo>& parts) {
    boost::json::array list;
    for (const PartInfo& part : parts) {
        list.push_back(boost::json::object{{"name", part.name},
                                           {"contentType", part.contentType},
                                           {"size", part.size},
                                           {"storedSize", part.storedSize}});
    }
    return list;
}

void printJson(Output& out, const std::string& file, const FileInfo& info) {
    boost::json::object object{{"schema", 1}, {"file", file}, {"code", info.form}};
    for (const Property& property : info.properties) {
        object[property.label] = property.value ? boost::json::value(*property.value) : boost::json::value();
    }
    object["parts"] = toJson(info.parts);
    out.line(boost::json::serialize(object));
}

}  // namespace

void addInfoCommand(CommandLine& line, Console& console) {
    struct Options {
        std::vector<std::string> files;
        bool json = false;
    };
    Arguments command = line.add("info", "Tell the form of the code, the properties and the parts", kFooter);
    const auto options = std::make_shared<Options>();
    command.require("FILE", options->files, "Flowbooks");
    command.flag("--json", options->json, "One JSON object a line; what is absent is null");
    command.run([options, &console] {
        attemptFiles(console, options->files, [&](const Input& input) {
            const FlowbookFileReader reader = input.openReader();
            const FileInfo info{formOf(reader), propertiesOf(reader), partsOf(input)};
            (options->json ? printJson : printText)(console.out(), input.argument(), info);
            console.note(info.form == kNoCode ? ExitCode::NegativeFinding : ExitCode::Fine);
        });
    });
}

}  // namespace flowbook::tool
