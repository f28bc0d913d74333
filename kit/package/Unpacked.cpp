// The manifest of an unpacked flowbook: what names of files and their bytes do not say. It has one part a line, so that
// git merges two changes of it. Pictures are files of their own format; how each one was stored is kept beside it, so
// that packing gives the same bytes again.
#include "kit/package/Unpacked.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <boost/system/system_error.hpp>
#include <stdexcept>

namespace flowbook::kit {

namespace json = boost::json;
using PartRecord = FlowbookFilePackage::Part;
using Record = FlowbookFilePackage::Relationship;

namespace {

constexpr std::string_view kSvg = ".svg+xml";
/// Bytes that are stored in no way that could be made again are kept as a data URI themselves.
constexpr char kVerbatim[] = "data:;base64";

std::string narrow(const std::u16string& text) { return fl::i18n::to_string(text); }

std::u16string wide(const json::value& text) {
    const json::string& utf8 = text.as_string();
    return fl::i18n::to_ustring(std::string_view(utf8.data(), utf8.size()));
}

std::string fileOf(const std::string& part, const std::string& type) {
    const bool isSvg = part.size() > kSvg.size() && part.substr(part.size() - kSvg.size()) == kSvg;
    return part.substr(1, part.size() - 1 - (isSvg && type.rfind("image/", 0) == 0 ? kSvg.size() - 4 : 0));
}

json::array toJson(const std::vector<Record>& records) {
    json::array all;
    for (const Record& record : records) {
        json::object each{{"id", narrow(record.id)}, {"type", narrow(record.type)}, {"target", narrow(record.target)}};
        if (!record.isInternal) {
            each["external"] = true;
        }
        all.push_back(std::move(each));
    }
    return all;
}

std::vector<Record> recordsFrom(const json::value& all) {
    std::vector<Record> records;
    for (const json::value& each : all.as_array()) {
        const json::object& object = each.as_object();
        records.push_back(
            {wide(object.at("type")), wide(object.at("target")), wide(object.at("id")), !object.contains("external")});
    }
    return records;
}

std::string base64(const fl::Bytes& bytes) { return writeDataUri({kVerbatim, bytes}); }

/// How a picture was stored that is unpacked as another content.
void addForm(json::object& part, const fl::Bytes& stored) {
    DataUri uri = readDataUri(stored, "");
    uri.header = narrow(fl::i18n::to_ustring(uri.header));  // JSON holds nothing but well-formed text
    const std::string again = writeDataUri(uri);
    part["dataUri"] = uri.header;
    if (fl::Bytes(again.begin(), again.end()) != stored) {
        part["stored"] = base64(stored);
    }
}

fl::Bytes fromBase64(const json::value& text) {
    const json::string& uri = text.as_string();
    return readDataUri({uri.begin(), uri.end()}, kManifestName).content;
}

/// The content as it is to be stored.
fl::Bytes inForm(const json::object& part, fl::Bytes content) {
    if (const json::value* const stored = part.if_contains("stored")) {
        fl::Bytes old = fromBase64(*stored);
        if (pictureOf(old, kManifestName) == content) {
            return old;
        }
    }
    if (const json::value* const header = part.if_contains("dataUri")) {
        const json::string& text = header->as_string();
        const std::string uri = writeDataUri({{text.begin(), text.end()}, std::move(content)});
        return {uri.begin(), uri.end()};
    }
    return content;
}

std::string fileFrom(const json::object& entry, const std::string& usual) {
    const json::value* const file = entry.if_contains("file");
    return file == nullptr ? usual : std::string(file->as_string().c_str());
}

PartRecord partFrom(const json::object& part, const ReadFile& read) {
    PartRecord record;
    record.partName = wide(part.at("name"));
    record.contentType = wide(part.at("type"));
    if (!opc::model::PartName::isValid(narrow(record.partName))) {
        throw opc::Exception(opc::ErrorKind::Damaged, std::string(kManifestName) + ": no part name");
    }
    const std::string usual = fileOf(narrow(record.partName), narrow(record.contentType));
    record.content = inForm(part, read(fileFrom(part, usual)));
    record.relationships = recordsFrom(part.at("relationships"));
    return record;
}

}  // namespace

std::string fileNameOf(const opc::model::Part& part) {
    return fileOf(part.getName().ascii(), narrow(part.getContentType().getMediaType()));
}

std::string FileNames::take(const std::string& wanted) {
    std::string name = wanted;
    for (std::size_t number = 2; !isFree(name); ++number) {
        name = wanted + "~" + std::to_string(number);
    }
    files_.insert(name);
    for (std::size_t slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
        folders_.insert(name.substr(0, slash));
    }
    return name;
}

bool FileNames::isFree(const std::string& name) const {
    bool isFree = files_.count(name) == 0 && folders_.count(name) == 0;
    for (std::size_t slash = name.find('/'); isFree && slash != std::string::npos; slash = name.find('/', slash + 1)) {
        isFree = files_.count(name.substr(0, slash)) == 0;
    }
    return isFree;
}

void ManifestWriter::addOther(const std::string& entry, const std::string& file) {
    json::object object{{"name", entry}};
    if (file != entry) {
        object["file"] = file;
    }
    others_ += (others_.empty() ? "\n" : ",\n") + json::serialize(object);
}

void ManifestWriter::add(const opc::model::Part& part, const fl::Bytes& stored, const std::string& file) {
    json::object object{{"name", part.getName().ascii()},
                        {"type", narrow(part.getContentType().toString())},
                        {"relationships", toJson(relationshipsOf(part))}};
    if (file != fileNameOf(part)) {
        object["file"] = file;
    }
    if (isPicture(part) && isDataUri(stored)) {
        addForm(object, stored);
    }
    parts_ += (parts_.empty() ? "\n" : ",\n") + json::serialize(object);
}

std::string ManifestWriter::finish(const opc::model::Package& package) const {
    return "{\"schema\":1,\n\"relationships\":" + json::serialize(toJson(relationshipsOf(package))) + ",\n\"parts\":[" +
           parts_ + "],\n\"entries\":[" + others_ + "]}\n";
}

PackageContent packed(const fl::Bytes& manifest, const ReadFile& read) {
    try {
        const json::value all = json::parse(asText(manifest));
        PackageContent content;
        content.relationships = recordsFrom(all.as_object().at("relationships"));
        for (const json::value& part : all.as_object().at("parts").as_array()) {
            content.parts.push_back(partFrom(part.as_object(), read));
        }
        const json::value* const others = all.as_object().if_contains("entries");
        for (const json::value& entry : others == nullptr ? json::array() : others->as_array()) {
            const std::string name(entry.as_object().at("name").as_string().c_str());
            content.others[name] = read(fileFrom(entry.as_object(), name));
        }
        return content;
    } catch (const boost::system::system_error& fault) {
        throw opc::Exception(opc::ErrorKind::Damaged, std::string(kManifestName) + ": " + fault.what());
    } catch (const std::logic_error&) {
        throw opc::Exception(opc::ErrorKind::Damaged,
                             std::string(kManifestName) + ": a member is missing or of another type");
    }
}

}  // namespace flowbook::kit
