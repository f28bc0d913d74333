#include "kit/package/Salvage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/EntryNames.hpp"
#include "kit/document/XmlReader.hpp"
#include "kit/package/PackageContent.hpp"
#include "kit/package/ZipRemains.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

namespace flowbook::kit {

using PartRecord = FlowbookFilePackage::Part;
using Record = FlowbookFilePackage::Relationship;

namespace {

constexpr char kTypesEntry[] = "[Content_Types].xml";
constexpr std::string_view kPackageNamespace = "http://schemas.openxmlformats.org/package/2006/";
const std::u16string& kDocumentType = *new std::u16string(u"application/vnd.pellarion.tarmic.code.document+xml");

std::u16string wide(std::string_view text) { return fl::i18n::to_ustring(text); }

std::string extensionOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? "" : name.substr(dot + 1);
}

/// An element of content types or relationships; absent attributes are empty.
class ListReader : public XmlHandler {
public:
    using Take = std::function<void(std::string_view, const std::map<std::string_view, std::string_view>&)>;

    explicit ListReader(Take take) : take_(std::move(take)) {}

    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan) override {
        std::map<std::string_view, std::string_view> values;
        for (const XmlAttribute& attribute : attributes) {
            values[attribute.name.local] = attribute.value;
        }
        if (name.ns.substr(0, kPackageNamespace.size()) == kPackageNamespace) {
            take_(name.local, values);
        }
    }
    void endElement(const XmlName&, XmlSpan) override {}
    void characters(std::string_view) override {}

private:
    Take take_;
};

/// False for text that is no XML; what came before the fault has been taken.
bool readList(const fl::Bytes& xml, const ListReader::Take& take) {
    ListReader reader(take);
    try {
        readXml(xml, "", XmlEncoding::AsDeclared, reader);
        return true;
    } catch (const opc::Exception&) {
        return false;
    }
}

/// The content types of parts: as a list tells, else as the names that flowbooks use.
class Types {
public:
    /// @returns whether the list is whole.
    bool read(const fl::Bytes& xml) {
        return readList(xml, [this](std::string_view element, auto values) {
            if (element == "Default") {
                types_["." + fold(values["Extension"])] = values["ContentType"];
            } else if (element == "Override") {
                types_[fold(values["PartName"])] = values["ContentType"];
            }
        });
    }

    std::u16string of(const std::string& name, const fl::Bytes& content) const {
        const auto own = types_.find(fold(name));
        const auto byExtension = types_.find("." + fold(extensionOf(name)));
        const auto found = own != types_.end() ? own : byExtension;
        return found != types_.end() && isType(found->second) ? wide(found->second) : guess(fold(name), content);
    }

private:
    static bool isType(const std::string& text) {
        try {
            const opc::model::ContentType type(wide(text));
            return !type.toString().empty();
        } catch (const opc::Exception&) {
            return false;
        }
    }

    static std::u16string guess(const std::string& name, const fl::Bytes& content) {
        if (name == "/tarmic/document.xml") {
            const bool isXml = !content.empty() && content.front() == '<';
            return kDocumentType + (isXml ? u"" : u";encryption=AES");
        }
        if (name == "/docprops/core.xml") {
            return u"application/vnd.openxmlformats-package.core-properties+xml";
        }
        if (name == "/docprops/tarmic.xml") {
            return u"application/vnd.pellarion.package.properties+xml";
        }
        if (name.rfind("/media/", 0) == 0) {
            return pictureType(name, content);
        }
        return endsWith(name, ".xml") ? u"text/xml" : u"application/octet-stream";
    }

    static std::u16string pictureType(const std::string& name, const fl::Bytes& content) {
        const std::string text(content.begin(), content.begin() + std::min<std::ptrdiff_t>(
                                                                      64, static_cast<std::ptrdiff_t>(content.size())));
        const std::string named = text.rfind("data:", 0) == 0 ? text.substr(5, text.find_first_of(";,") - 5) : "";
        const std::string type = isType(named) ? named : "image/" + extensionOf(name);
        return isType(type) ? wide(type) : u"application/octet-stream";
    }

    std::map<std::string, std::string> types_;
};

bool isRelationships(const std::string& entry) {
    return endsWith(fold(entry), ".rels") && (entry.find("/_rels/") != std::string::npos || entry.find("_rels/") == 0);
}

class Rebuilder {
public:
    explicit Rebuilder(ZipRemains remains) : remains_(std::move(remains)) {}

    Salvaged run() {
        readTypes();
        addParts();
        content_.relationships = relationshipsOf("", {});
        for (PartRecord& part : content_.parts) {
            const std::string name = fl::i18n::to_string(part.partName);
            part.relationships = relationshipsOf(name.substr(1), part.contentType);
        }
        tellLost();
        write();
        return std::move(result_);
    }

private:
    void readTypes() {
        const auto entry = remains_.whole.find(kTypesEntry);
        if (entry == remains_.whole.end() || !types_.read(entry->second)) {
            result_.rebuilt.emplace_back("the content types, from names");
        }
    }

    void addParts() {
        std::set<std::string> taken;
        for (auto& [entry, bytes] : remains_.whole) {
            const std::string name = "/" + entry;
            if (entry == kTypesEntry || isRelationships(entry)) {
                continue;
            }
            if (!opc::model::PartName::isValid(name) || !taken.insert(fold(name)).second) {
                result_.lost.push_back(entry + ": the name cannot be a part's");
                continue;
            }
            std::u16string type = types_.of(name, bytes);
            content_.parts.push_back({std::move(bytes), std::move(type), wide(name), {}});
            result_.saved.push_back(name);
        }
    }

    /// @param type  of the source; empty for the package.
    std::vector<Record> relationshipsOf(const std::string& entry, const std::u16string& type) {
        std::vector<Record> records;
        const auto found = remains_.whole.find(relationshipsEntry(entry));
        if (found != remains_.whole.end() && readRelationships(found->second, records)) {
            return records;
        }
        records = entry.empty() ? guessPackageRelationships() : std::vector<Record>();
        if (type.rfind(kDocumentType, 0) == 0) {
            records = guessPictures();
        }
        if (!records.empty()) {
            result_.rebuilt.push_back("the relationships of /" + entry + ", from names");
        }
        return records;
    }

    static bool readRelationships(const fl::Bytes& xml, std::vector<Record>& records) {
        return readList(xml, [&records](std::string_view element, auto values) {
            if (element == "Relationship") {
                records.push_back({wide(values["Type"]), wide(values["Target"]), wide(values["Id"]),
                                   values["TargetMode"] != "External"});
            }
        });
    }

    std::vector<Record> guessPackageRelationships() const {
        const std::u16string base = u"http://schemas.pellarion.com/";
        std::vector<Record> records;
        for (const PartRecord& part : content_.parts) {
            const std::string name = fold(fl::i18n::to_string(part.partName));
            std::u16string type;
            if (part.contentType.rfind(kDocumentType, 0) == 0) {
                type = documentRelationshipType();
            } else if (name == "/tarmic/output.xml") {
                type = FlowbookFilePackage::createOutputRelationship().type;
            } else if (part.contentType.find(u"core-properties") != std::u16string::npos) {
                type = u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
            } else if (part.contentType.find(u"pellarion.package.properties") != std::u16string::npos) {
                type = base + u"package/2013/relationships/properties";
            }
            addGuess(records, type, part.partName);
        }
        return records;
    }

    std::vector<Record> guessPictures() const {
        std::string extension = "png";
        const std::u16string type = FlowbookFilePackage::createImageRelationship(1, extension, 1).type;
        std::vector<Record> records;
        for (const PartRecord& part : content_.parts) {
            const bool isPicture = part.contentType.rfind(u"image/", 0) == 0;
            addGuess(records, isPicture ? type : u"", part.partName);
        }
        return records;
    }

    static void addGuess(std::vector<Record>& records, const std::u16string& type, const std::u16string& target) {
        if (!type.empty()) {
            records.push_back({type, target, wide("rId" + std::to_string(records.size() + 1)), true});
        }
    }

    void write() {
        if (content_.parts.empty() || tryToWrite().empty()) {
            return;
        }
        dropFaulty(content_.relationships, "/");
        for (PartRecord& part : content_.parts) {
            dropFaulty(part.relationships, fl::i18n::to_string(part.partName));
        }
        const std::string fault = tryToWrite();
        if (!fault.empty()) {
            result_.lost.push_back("everything, as it makes no package: " + fault);
        }
    }

    /// Why it cannot be written; empty when it was.
    std::string tryToWrite() {
        try {
            result_.flowbook = writeContent(content_);
            return "";
        } catch (const opc::Exception& failure) {
            return failure.what();
        }
    }

    void dropFaulty(std::vector<Record>& records, const std::string& source) {
        std::set<std::u16string> ids;
        const auto isFaulty = [&](const Record& record) {
            return !ids.insert(record.id).second || !canBeWritten(record);
        };
        std::vector<Record> good;
        for (Record& record : records) {
            if (isFaulty(record)) {
                result_.lost.push_back("a faulty relationship of " + source + ": " + fl::i18n::to_string(record.id) +
                                       " to " + fl::i18n::to_string(record.target));
            } else {
                good.push_back(std::move(record));
            }
        }
        records = std::move(good);
    }

    static bool canBeWritten(const Record& record) {
        try {
            writeContent({{}, {record}, {}});
            return true;
        } catch (const opc::Exception&) {
            return false;
        }
    }

    /// Parts of which nothing is left but what leads to them.
    void tellGone(const std::vector<Record>& records, const std::u16string& source) {
        for (const Record& record : records) {
            const std::string name = record.isInternal ? partName(record.target, source) : "";
            const bool isKnown = name.empty() || content_.find(wide(name)) != nullptr ||
                                 remains_.damaged.count(name.substr(1)) != 0 || !gone_.insert(name).second;
            if (!isKnown) {
                result_.lost.push_back(name + ": only a relationship to it is left");
            }
        }
    }

    /// Empty for a target that is no part name.
    static std::string partName(const std::u16string& target, const std::u16string& source) {
        try {
            return opc::model::PartName(opc::model::URI(target).resolvedAgainst(opc::model::URI(source))).ascii();
        } catch (const opc::Exception&) {
            return "";
        }
    }

    void tellLost() {
        tellGone(content_.relationships, u"/");
        for (const PartRecord& part : content_.parts) {
            tellGone(part.relationships, part.partName);
        }
        for (const std::string& entry : remains_.damaged) {
            if (entry != kTypesEntry && !isRelationships(entry)) {
                result_.lost.push_back("/" + entry + ": the content is damaged or gone");
            }
        }
        if (std::none_of(content_.parts.begin(), content_.parts.end(),
                         [](const PartRecord& part) { return part.contentType.rfind(kDocumentType, 0) == 0; })) {
            result_.lost.emplace_back("the code: there is no document part");
        }
    }

    ZipRemains remains_;
    Types types_;
    PackageContent content_;
    Salvaged result_;
    std::set<std::string> gone_;
};

}  // namespace

Salvaged salvage(const fl::Bytes& remains) { return Rebuilder(findEntries(remains)).run(); }

}  // namespace flowbook::kit
