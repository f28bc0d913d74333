#include "opc/pxservices/PropertyDocument.hpp"

#include "opc/names/MessageText.hpp"
#include "opc/pxservices/Utf16Document.hpp"
#include "opc/xml/PackageXmlReader.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <algorithm>
#include <utility>

namespace opc::pxservices::detail {

using model::detail::PackageXmlHandler;
using model::detail::XmlElement;
using model::detail::XmlFault;
using model::detail::XmlRange;
using model::detail::XmlWriter;

class PropertyDocument::Handler : public PackageXmlHandler {
public:
    explicit Handler(PropertyDocument& document) : document_(document), schema_(document.schema_) {}

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

    void endElement(XmlRange tag) override {
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
    Handler handler(*this);
    model::detail::parsePackageXml(*xml_, where, handler);
}

const PropertyDocument::Element* PropertyDocument::element(std::size_t field) const {
    return elements_[field].places.empty() ? nullptr : &elements_[field];
}

std::size_t PropertyDocument::lineOf(const Element& element) const {
    const auto begin = xml_->begin() + static_cast<std::ptrdiff_t>(element.places.front().begin);
    return 1 + static_cast<std::size_t>(std::count(xml_->begin(), begin, '\n'));
}

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

/// With the prefixes that the root gives; where it lacks one, with the usual ones, declared on the spot.
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

/// A root without content is one tag, which ends in "/>".
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
