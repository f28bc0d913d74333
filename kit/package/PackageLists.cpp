// What a damaged package says of its parts. Lists of content types and relationships are read up to their first fault,
// since what stands before it is whole. For what no list says, the names and contents that flowbooks use decide.
#include "kit/package/PackageLists.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/EntryNames.hpp"
#include "kit/document/References.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/document/XmlReader.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <functional>

namespace flowbook::kit {

using Record = FlowbookFilePackage::Relationship;

namespace {

constexpr std::string_view kPackageNamespace = "http://schemas.openxmlformats.org/package/2006/";
constexpr std::u16string_view kPropertiesType = u"application/vnd.pellarion.package.properties+xml";
constexpr std::u16string_view kCoreMediaType = u"application/vnd.openxmlformats-package.core-properties+xml";

using fl::i18n::to_ustring;

/// Hands over the elements in a list of content types or relationships; absent attributes are empty.
class ListReader : public XmlHandler {
public:
    using Take = std::function<void(std::string_view, const std::map<std::string_view, std::string_view>&)>;

    ListReader(std::string_view root, Take take) : root_(root), take_(std::move(take)) {}

    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan) override {
        const bool isOfPackage = startsWith(name.ns, kPackageNamespace);
        // In a list of another kind no element is taken, even if it is called like one of this kind.
        if (!hasRoot_) {
            hasRoot_ = true;
            isList_ = isOfPackage && name.local == root_;
            return;
        }
        std::map<std::string_view, std::string_view> values;
        for (const XmlAttribute& attribute : attributes) {
            values[attribute.name.local] = attribute.value;
        }
        if (isList_ && isOfPackage) {
            take_(name.local, values);
        }
    }
    void endElement(const XmlName&, XmlSpan) override {}
    void characters(std::string_view) override {}

    bool isList() const noexcept { return isList_; }

private:
    std::string_view root_;
    Take take_;
    bool hasRoot_ = false;
    bool isList_ = false;
};

/// Takes what a document holds and does nothing with it.
class XmlIgnorer : public XmlHandler {
public:
    void startElement(const XmlName&, const std::vector<XmlAttribute>&, XmlSpan) override {}
    void endElement(const XmlName&, XmlSpan) override {}
    void characters(std::string_view) override {}
};

/// @param root  what the outermost element is called. @returns whether the list is whole.
bool readList(const fl::Bytes& xml, std::string_view root, const ListReader::Take& take) {
    ListReader reader(root, take);
    try {
        readXml(xml, "", XmlEncoding::AsDeclared, reader);
        return reader.isList();
    } catch (const opc::Exception&) {
        return false;
    }
}

bool isType(const std::string& text) {
    try {
        const opc::model::ContentType type(to_ustring(text));
        return !type.toString().empty();
    } catch (const opc::Exception&) {
        return false;
    }
}

std::u16string pictureType(const std::string& name, const fl::Bytes& content) {
    // A data URI names its media type in its first bytes; pictures of megabytes are not searched for a comma.
    const std::size_t size = std::min<std::size_t>(64, content.size());
    const std::string text(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(size));
    const std::string named = startsWith(text, "data:") ? text.substr(5, text.find_first_of(";,") - 5) : "";
    const std::string type = isType(named) ? named : "image/" + extensionOf(name);
    return isType(type) ? to_ustring(type) : u"application/octet-stream";
}

/// The last number in a name and what is before it: "image10" comes after "image2".
std::pair<std::uint64_t, std::string> numberIn(const std::string& name) {
    constexpr char kDigits[] = "0123456789";
    const std::size_t last = name.find_last_of(kDigits);
    if (last == std::string::npos) {
        return {0, name};
    }
    const std::size_t before = name.find_last_not_of(kDigits, last);
    const std::size_t first = before == std::string::npos ? 0 : before + 1;
    std::uint64_t number = 0;
    // Eighteen digits always fit into 64 bits.
    for (std::size_t i = first; i <= last && i < first + 18; ++i) {
        number = 10 * number + static_cast<std::uint64_t>(name[i] - '0');
    }
    return {number, name.substr(0, first)};
}

std::uint64_t numberOfPicture(const std::string& partName) {
    return numberIn(partName.substr(0, partName.rfind('.'))).first;
}

/// In the order in which they were added: by their numbers, unless they lie in the file in an order in which the
/// numbers of each extension count up, as the library numbers each extension for itself.
std::vector<std::string> inOrder(std::vector<std::string> pictures) {
    std::map<std::string, std::uint64_t> last;
    bool countsUp = true;
    for (const std::string& name : pictures) {
        std::uint64_t& before = last[extensionOf(name)];
        countsUp = countsUp && before < numberOfPicture(name);
        before = numberOfPicture(name);
    }
    if (!countsUp) {
        std::stable_sort(pictures.begin(), pictures.end(),
                         [](const auto& a, const auto& b) { return numberOfPicture(a) < numberOfPicture(b); });
    }
    return pictures;
}

bool haveOneExtension(const std::vector<std::string>& pictures) {
    return std::all_of(pictures.begin(), pictures.end(),
                       [&](const auto& each) { return extensionOf(each) == extensionOf(pictures.front()); });
}

/// The plain code document that saving a code as text makes.
fl::Bytes documentOf(const std::u16string& code) {
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    const foundation::storage::vfs::StorageSystemReference storage(memory);
    const std::u16string name = u"memory://flowbook.tqx";
    FlowbookFileWriter writer(name, storage, {});
    writer.setTARMICCode(code);
    writer.close(false);
    return Document(memory->get(name)).storedCode();
}

}  // namespace

bool PartTypes::read(const fl::Bytes& xml) {
    std::map<std::string, std::string> own;
    bool isSound = true;
    const bool isWhole = readList(xml, "Types", [&](std::string_view element, auto values) {
        if (element != "Default" && element != "Override") {
            return;
        }
        const std::string name(values[element == "Default" ? "Extension" : "PartName"]);
        const std::string type(values["ContentType"]);
        // The first entry for a name counts, and a second one makes the list unsound. A default is stored with a dot
        // before it, which no part name begins with.
        isSound = isType(type) && own.emplace((element == "Default" ? "." : "") + fold(name), type).second && isSound;
        if (element == "Override") {
            names_.insert(name);
        }
    });
    // What an earlier list named stays, since lists are read in the order of how far they can be trusted.
    types_.merge(own);
    return isWhole && isSound;
}

std::u16string PartTypes::declared(const std::string& partName) const {
    const auto own = types_.find(fold(partName));
    // An override decides before the default of the extension.
    const auto found = own != types_.end() ? own : types_.find("." + fold(extensionOf(partName)));
    return found != types_.end() && isType(found->second) ? to_ustring(found->second) : u"";
}

std::u16string PartTypes::guess(const std::string& partName, const fl::Bytes& content) {
    const std::string name = fold(partName);
    if (name == "/tarmic/document.xml") {
        return guessCodeType(content);
    }
    if (name == "/docprops/core.xml" || endsWith(name, ".psmdcp")) {
        return std::u16string(kCoreMediaType);
    }
    if (name == "/docprops/tarmic.xml") {
        return std::u16string(kPropertiesType);
    }
    if (startsWith(name, "/media/")) {
        return pictureType(name, content);
    }
    return endsWith(name, ".xml") ? u"text/xml" : u"application/octet-stream";
}

FoundRelationships readRelationships(const fl::Bytes& xml) {
    FoundRelationships list;
    list.isWhole = readList(xml, "Relationships", [&list](std::string_view element, auto values) {
        const std::string_view mode = values["TargetMode"];
        if (element == "Relationship" && !mode.empty() && mode != "Internal" && mode != "External") {
            // Taken as internal it could lead to a part that it never meant, so it is left out and reported.
            list.faulty.emplace_back(values["Id"]);
        } else if (element == "Relationship") {
            list.records.push_back({to_ustring(values["Type"]), to_ustring(values["Target"]), to_ustring(values["Id"]),
                                    mode != "External"});
        }
    });
    return list;
}

bool isCodeType(const std::u16string& contentType) {
    return contentType.rfind(FlowbookFilePackage::createEmptyDocumentPart().contentType, 0) == 0;
}

bool isPictureType(const std::u16string& contentType) { return contentType.rfind(u"image/", 0) == 0; }

bool isNeededXml(const std::u16string& contentType) {
    const bool isEncrypted = opc::model::ContentType(contentType).hasParameter(u"encryption");
    return (isCodeType(contentType) && !isEncrypted) || contentType.rfind(kCoreMediaType, 0) == 0 ||
           contentType.rfind(kPropertiesType, 0) == 0;
}

bool isWellFormedXml(const fl::Bytes& xml) {
    XmlIgnorer reader;
    try {
        readXml(xml, "", encodingOf(xml), reader);
        return true;
    } catch (const opc::Exception&) {
        return false;
    }
}

std::u16string pictureRelationshipType() {
    std::string extension = "png";
    return FlowbookFilePackage::createImageRelationship(1, extension, 1).type;
}

std::u16string packageRelationshipType(const std::string& partName, const std::u16string& contentType) {
    if (isCodeType(contentType)) {
        return documentRelationshipType();
    }
    if (contentType.rfind(kCoreMediaType, 0) == 0) {
        return u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
    }
    if (contentType.rfind(kPropertiesType, 0) == 0) {
        return u"http://schemas.pellarion.com/package/2013/relationships/properties";
    }
    return fold(partName) == "/tarmic/output.xml" ? FlowbookFilePackage::createOutputRelationship().type : u"";
}

namespace {

/// Of these pictures, those that no relationship leads to.
std::vector<std::string> withoutTargets(std::vector<std::string> pictures, const std::vector<Record>& known) {
    std::set<std::string> targets;
    for (const Record& record : known) {
        targets.insert(fold(fl::i18n::to_string(record.target)));
    }
    const auto isTarget = [&](const std::string& each) { return targets.count(fold(each)) != 0; };
    pictures.erase(std::remove_if(pictures.begin(), pictures.end(), isTarget), pictures.end());
    return pictures;
}

/// The prefixes that stand for a namespace of references, each with its colon, wherever they are declared.
std::set<std::string> referencePrefixes(std::string_view xml) {
    constexpr std::string_view kDeclaration = "xmlns:";
    std::set<std::string> prefixes;
    for (std::size_t at = xml.find(kDeclaration); at != std::string_view::npos; at = xml.find(kDeclaration, at + 1)) {
        const std::string_view rest = xml.substr(at + kDeclaration.size());
        const std::size_t quote = std::min(rest.find_first_of("\"'"), rest.size());
        const std::size_t end = rest.find_first_of("\"'", quote + 1);
        if (end != std::string_view::npos && endsWith(rest.substr(0, end), "elationships")) {
            prefixes.insert(std::string(rest.substr(0, rest.find_first_of(" \t\r\n="))) + ":");
        }
    }
    return prefixes;
}

/// False where no attribute has a prefix of references, which is found out without reading the XML. Character
/// references may hide a declaration.
bool mayNameRelationships(std::string_view xml) {
    constexpr std::string_view kSpaces = " \t\r\n";
    const auto isUsed = [&](const std::string& prefix) {
        std::size_t at = xml.find(prefix, 1);
        while (at != std::string_view::npos && kSpaces.find(xml[at - 1]) == std::string_view::npos) {
            at = xml.find(prefix, at + 1);
        }
        return at != std::string_view::npos;
    };
    const std::set<std::string> prefixes = referencePrefixes(xml);
    return xml.find("&#") != std::string_view::npos || std::any_of(prefixes.begin(), prefixes.end(), isUsed);
}

/// The usual id of this number; empty where the text names it.
std::string freeOf(std::uint64_t number, const std::set<std::string>& named) {
    const std::string id = "rId" + std::to_string(number);
    return named.count(id) == 0 ? id : "";
}

}  // namespace

std::vector<Record> guessPictures(const fl::Bytes& document, const std::vector<std::string>& pictures,
                                  const std::vector<Record>& known) {
    std::set<std::string> taken;
    for (const Record& record : known) {
        taken.insert(fl::i18n::to_string(record.id));
    }
    const std::vector<std::string> left = withoutTargets(inOrder(pictures), known);
    const std::vector<std::string> all = shownPictures(document);
    std::vector<std::string> shown;
    std::remove_copy_if(all.begin(), all.end(), std::back_inserter(shown),
                        [&](const std::string& each) { return taken.count(each) != 0; });
    const std::set<std::string> named = namedRelationships(document);
    std::vector<Record> records;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const std::uint64_t number = haveOneExtension(left) ? numberOfPicture(left[i]) : i + 1;
        const bool isNth = number > 0 && number <= all.size();
        std::string id = shown.size() == left.size() ? shown[i] : isNth ? all[number - 1] : freeOf(number, named);
        // The id may be taken by a relationship that is known already. Numbers above those of all pictures are tried
        // then.
        for (std::size_t next = left.size() + 1; id.empty() || !taken.insert(id).second; ++next) {
            id = freeOf(next, named);
        }
        records.push_back({pictureRelationshipType(), to_ustring(left[i]), to_ustring(id), true});
    }
    return records;
}

std::vector<std::string> shownPictures(const fl::Bytes& document) {
    std::set<std::string> ids;
    for (const Paragraph& paragraph : readRichText(document, "").paragraphs) {
        for (const Run& run : paragraph.runs) {
            ids.insert(run.picture);
        }
    }
    ids.erase("");
    std::vector<std::string> sorted(ids.begin(), ids.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return numberIn(a).first < numberIn(b).first; });
    return sorted;
}

std::set<std::string> namedRelationships(const fl::Bytes& document) {
    std::set<std::string> ids;
    try {
        const fl::Bytes text = inUtf8(document, "");
        if (mayNameRelationships(asText(text))) {
            for (const Reference& reference : findReferences(text, "")) {
                ids.insert(reference.id);
            }
        }
    } catch (const opc::Exception&) {
        // Text that is no XML names no relationships.
        // What is no XML names none.
    }
    return ids;
}

std::u16string guessCodeType(const fl::Bytes& document) {
    using opc::model::ContentType;
    ContentType type(FlowbookFilePackage::createEmptyDocumentPart().contentType);
    const std::string_view text = asText(document);
    const bool isXml = startsWith(text, "<") || startsWith(text, "\xEF\xBB\xBF") || startsWith(text, "\xFE\xFF") ||
                       startsWith(text, "\xFF\xFE");
    const bool isText = isXml && (encodingOf(document) == XmlEncoding::Utf8 || isWellFormedXml(document));
    if (!isText) {
        type.addParameter(u"encryption", u"AES");
        return type.toString();
    }
    try {
        opc::ByteArrayInAdaptor stream(document);
        if (documentOf(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream)) == document) {
            type.addParameter(u"plaincode", u"true");
        }
    } catch (const std::exception&) {
        // It is kept as rich code, whose reader reports its faults.
    }
    return type.toString();
}

}  // namespace flowbook::kit
