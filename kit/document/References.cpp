// Finds the attributes that refer to relationships, with the places of their values: ids are replaced in the bytes, so
// that all else of a document stays as it was written. Both namespaces of the standard are known, transitional and
// strict.
#include "kit/document/References.hpp"

#include "kit/document/StoredText.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

constexpr std::string_view kTransitional = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
constexpr std::string_view kStrict = "http://purl.oclc.org/ooxml/officeDocument/relationships";
constexpr std::string_view kSpace = " \t\r\n";

bool isDeclaration(std::string_view name) { return name == "xmlns" || name.substr(0, 6) == "xmlns:"; }

/// The values of a tag's attributes in their order, but for declarations of namespaces. The tag is known to be
/// well-formed.
class AttributeValues {
public:
    AttributeValues(std::string_view document, XmlSpan tag) : tag_(document.substr(0, tag.end)) {
        at_ = tag_.find_first_of(" \t\r\n/>", tag.begin);
    }

    XmlSpan next() {
        for (;;) {
            const std::size_t name = tag_.find_first_not_of(kSpace, at_);
            const std::size_t nameEnd = tag_.find_first_of(" \t\r\n=", name);
            const std::size_t quote = tag_.find_first_of("\"'", nameEnd);
            const XmlSpan value{quote + 1, tag_.find(tag_[quote], quote + 1)};
            at_ = value.end + 1;
            if (!isDeclaration(tag_.substr(name, nameEnd - name))) {
                return value;
            }
        }
    }

private:
    std::string_view tag_;
    std::size_t at_;
};

class ReferenceHandler : public XmlHandler {
public:
    explicit ReferenceHandler(std::string_view document) : document_(document) {}

    void startElement(const XmlName&, const std::vector<XmlAttribute>& attributes, XmlSpan tag) override {
        const auto names = [](const XmlAttribute& each) { return isReference(each.name) && !each.value.empty(); };
        if (std::none_of(attributes.begin(), attributes.end(), names)) {
            return;
        }
        AttributeValues values(document_, tag);
        for (const XmlAttribute& attribute : attributes) {
            const XmlSpan value = values.next();
            if (names(attribute)) {
                found.push_back({value, std::string(attribute.value)});
            }
        }
    }
    void endElement(const XmlName&, XmlSpan) override {}
    void characters(std::string_view) override {}

    std::vector<Reference> found;

private:
    std::string_view document_;
};

}  // namespace

bool isReference(const XmlName& name) { return name.ns == kTransitional || name.ns == kStrict; }

std::vector<Reference> findReferences(const fl::Bytes& document, const std::string& where) {
    ReferenceHandler handler(asText(document));
    readXml(document, where, XmlEncoding::Utf8, handler);
    return std::move(handler.found);
}

std::string escapedValue(std::string_view text) {
    std::string result;
    for (const char c : text) {
        result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '"' ? "&quot;" : std::string(1, c);
    }
    return result;
}

}  // namespace flowbook::kit
