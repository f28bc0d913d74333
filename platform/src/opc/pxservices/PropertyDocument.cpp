// Reads and edits the XML of properties in place. Only the elements of known properties are replaced, by their byte
// ranges; elements, comments and white space of other programs stay byte for byte. UTF-16 is converted first, so that
// the ranges that the parser reports are ranges of the text that is edited.
#include "opc/pxservices/PropertyDocument.hpp"

#include "fl/Bytes.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "opc/MessageText.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/xml/PackageXml.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace opc::pxservices::detail {

using model::detail::PackageXmlHandler;
using model::detail::XmlElement;
using model::detail::XmlFault;
using model::detail::XmlName;
using model::detail::XmlRange;
using model::detail::XmlWriter;

namespace {

constexpr char16_t kMark = 0xFEFF;  // of byte order

bool isLittleEndian(const fl::Bytes& xml) { return xml[0] == 0xFF || xml[1] == 0; }

std::u16string unitsOf(const fl::Bytes& xml) {
    const std::size_t low = isLittleEndian(xml) ? 0 : 1;
    std::u16string units(xml.size() / 2, u'\0');
    for (std::size_t i = 0; i != units.size(); ++i) {
        units[i] = static_cast<char16_t>(xml[2 * i + low] | xml[2 * i + 1 - low] << 8);
    }
    return units;
}

/// Cuts off the declaration, which names an encoding that the text no longer has.
std::string_view withoutDeclaration(std::string_view xml) {
    constexpr std::string_view kStart = "<?xml";
    const bool declared = xml.substr(0, kStart.size()) == kStart && xml.size() > kStart.size() &&
                          std::string_view(" \t\r\n").find(xml[kStart.size()]) != std::string_view::npos;
    const std::size_t end = declared ? xml.find("?>") : std::string_view::npos;
    return end == std::string_view::npos ? xml : xml.substr(end + 2);
}

/// Whether an XML document is in UTF-16, by how it begins (XML 1.0, appendix F).
bool isUtf16(const fl::Bytes& xml) {
    if (xml.size() < 2) {
        return false;
    }
    const int first = xml[0] << 8 | xml[1];
    return first == 0xFFFE || first == 0xFEFF || first == '<' || first == '<' << 8;
}

/// Returns such a document in UTF-8, without its declaration.
/// @param where  the file and the part, for messages. @throws opc::model::InvalidXMLDocument.
fl::Bytes utf8Of(const fl::Bytes& xml, const std::string& where) {
    try {
        const std::u16string units = unitsOf(xml);
        const std::string text = fl::i18n::ustring_to_utf8(units.substr(units[0] == kMark ? 1 : 0));
        if (xml.size() % 2 == 0) {
            const std::string_view rest = withoutDeclaration(text);
            return {rest.begin(), rest.end()};
        }
        throw model::InvalidXMLDocument(where + ": UTF-16 of an odd number of bytes");
    } catch (const fl::i18n::ConversionError& error) {
        throw model::InvalidXMLDocument(where + ": " + error.what());
    }
}

}  // namespace

class PropertyDocument::Handler : public PackageXmlHandler {
public:
    explicit Handler(PropertyDocument& document) : document_(document), schema_(document.schema_) {}

    /// Notes the prefixes that the root declares and that elements written here need.
    void startNamespace(std::string_view prefix, std::string_view uri) override {
        const bool needed =
            uri == kSchemaInstance || std::any_of(schema_.fields, schema_.fields + schema_.count,
                                                  [uri](const PropertyField& field) { return uri == field.ns; });
        if (depth_ == 0 && !prefix.empty() && needed) {
            document_.prefixes_.emplace(uri, prefix);
        }
    }

    void startElement(const XmlElement& element) override {
        if (depth_ == 0) {
            startRoot(element);
        } else if (depth_ == 1) {
            current_ = find(element);
            begin_ = element.tag.begin;
        } else if (isFirst()) {
            current_->isPlain = false;
        }
        ++depth_;
    }

    void characters(std::string_view text) override {
        if (depth_ == 2 && isFirst()) {
            current_->text += text;
        }
    }

    void endElement(const XmlName&, XmlRange tag) override {
        --depth_;
        if (depth_ == 0) {
            document_.rootEnd_ = tag;
        } else if (depth_ == 1 && current_ != nullptr) {
            current_->places.push_back({begin_, tag.end});
            current_ = nullptr;
        }
    }

private:
    void startRoot(const XmlElement& element) {
        if (!element.name.is(schema_.ns, schema_.root)) {
            throw XmlFault{"unexpected element " + model::detail::shown(element.name.local)};
        }
        const std::string prefix(element.name.prefix);
        document_.rootName_ = (prefix.empty() ? prefix : prefix + ":") + schema_.root;
        document_.rootStart_ = element.tag;
    }

    Element* find(const XmlElement& element) const {
        const auto* end = schema_.fields + schema_.count;
        const auto* field = std::find_if(
            schema_.fields, end, [&](const PropertyField& each) { return element.name.is(each.ns, each.local); });
        return field == end ? nullptr : &document_.elements_[static_cast<std::size_t>(field - schema_.fields)];
    }

    bool isFirst() const { return current_ != nullptr && current_->places.empty(); }

    PropertyDocument& document_;
    const PropertySchema& schema_;
    std::size_t depth_ = 0;
    std::size_t begin_ = 0;
    Element* current_ = nullptr;
};

PropertyDocument::PropertyDocument(std::shared_ptr<const fl::Bytes> xml, const std::string& where,
                                   const PropertySchema& schema)
    : xml_(isUtf16(*xml) ? std::make_shared<const fl::Bytes>(utf8Of(*xml, where)) : std::move(xml)), schema_(schema) {
    Handler quick(*this);
    if (!model::detail::takePlainXml(*xml_, quick)) {
        elements_ = {};
        prefixes_.clear();
        Handler strict(*this);
        model::detail::parsePackageXml(*xml_, where, strict);
    }
}

const PropertyDocument::Element* PropertyDocument::element(std::size_t field) const {
    return elements_[field].places.empty() ? nullptr : &elements_[field];
}

std::size_t PropertyDocument::lineOf(const Element& element) const {
    const auto begin = xml_->begin() + static_cast<std::ptrdiff_t>(element.places.front().begin);
    return 1 + static_cast<std::size_t>(std::count(xml_->begin(), begin, '\n'));
}

/// The first element of a name is replaced, and further ones are removed: a repaired document has one of each.
fl::Bytes PropertyDocument::with(const Values& values) const {
    std::vector<Edit> edits;
    std::string added;
    for (std::size_t field = 0; field != schema_.count; ++field) {
        if (!values[field]) {
            continue;
        }
        std::string element = elementXml(schema_.fields[field], *values[field]);
        for (const XmlRange& place : elements_[field].places) {
            edits.push_back({place, std::exchange(element, std::string())});
        }
        added += element;
    }
    edits.push_back(appending(added));
    return edited(std::move(edits));
}

/// Writes an element with the prefixes that the root declares. Where the root lacks one of them, the element declares
/// the usual ones itself.
std::string PropertyDocument::elementXml(const PropertyField& field, const std::string& value) const {
    const auto own = prefixes_.find(field.ns);
    const auto instance = prefixes_.find(kSchemaInstance);
    const bool bound = own != prefixes_.end() && (field.type == nullptr || instance != prefixes_.end());
    const std::string prefix = (bound ? own->second : field.prefix) + ":";
    XmlWriter xml(XmlWriter::Kind::Fragment);
    xml.start(prefix + field.local);
    if (!bound) {
        xml.attribute(std::string("xmlns:") + field.prefix, field.ns);
    }
    if (!bound && field.type != nullptr) {
        xml.attribute("xmlns:xsi", kSchemaInstance);
    }
    if (field.type != nullptr) {
        xml.attribute((bound ? instance->second : "xsi") + ":type", prefix + field.type);
    }
    const fl::Bytes bytes = xml.text(value).end().finish();
    return {bytes.begin(), bytes.end()};
}

/// Returns the edit that adds elements at the end of the root. A root without content is one tag, which ends in "/>"
/// and has to be opened.
PropertyDocument::Edit PropertyDocument::appending(const std::string& elements) const {
    const bool isOneTag = rootEnd_.begin == rootEnd_.end;
    if (!isOneTag || elements.empty()) {
        return {{rootEnd_.begin, rootEnd_.begin}, elements};
    }
    return {{rootStart_.end - 2, rootStart_.end}, ">" + elements + "</" + rootName_ + ">"};
}

fl::Bytes PropertyDocument::edited(std::vector<Edit> edits) const {
    std::sort(edits.begin(), edits.end(), [](const Edit& a, const Edit& b) { return a.place.begin < b.place.begin; });
    const auto at = [this](std::size_t offset) { return xml_->begin() + static_cast<std::ptrdiff_t>(offset); };
    fl::Bytes result;
    std::size_t done = 0;
    for (const Edit& edit : edits) {
        result.insert(result.end(), at(done), at(edit.place.begin));
        result.insert(result.end(), edit.text.begin(), edit.text.end());
        done = edit.place.end;
    }
    result.insert(result.end(), at(done), xml_->end());
    return result;
}

}  // namespace opc::pxservices::detail
