#include "kit/document/PropertyElements.hpp"

#include "kit/document/Characters.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"
#include "opc/Limits.hpp"

#include <algorithm>
#include <utility>

namespace flowbook::kit {

using opc::model::Package;
using opc::model::Part;

namespace {

constexpr std::u16string_view kCoreType = u"application/vnd.openxmlformats-package.core-properties+xml";
constexpr std::u16string_view kMoreType = u"application/vnd.pellarion.package.properties+xml";

/// What the core properties may have of texts beside what the library sets, and the namespaces of these elements.
constexpr std::pair<std::string_view, std::string_view> kTexts[] = {
    {"creator", "http://purl.org/dc/elements/1.1/"},
    {"identifier", "http://purl.org/dc/elements/1.1/"},
    {"language", "http://purl.org/dc/elements/1.1/"},
    {"subject", "http://purl.org/dc/elements/1.1/"},
    {"contentStatus", "http://schemas.openxmlformats.org/package/2006/metadata/core-properties"},
    {"keywords", "http://schemas.openxmlformats.org/package/2006/metadata/core-properties"},
    {"lastModifiedBy", "http://schemas.openxmlformats.org/package/2006/metadata/core-properties"},
    {"lastPrinted", "http://schemas.openxmlformats.org/package/2006/metadata/core-properties"},
    {"revision", "http://schemas.openxmlformats.org/package/2006/metadata/core-properties"}};

class ElementHandler : public XmlHandler {
public:
    void startElement(const XmlName& name, const std::vector<XmlAttribute>&, XmlSpan tag) override {
        if (depth_ == 1) {
            elements.push_back({std::string(name.local), "", tag});
            tags.push_back(tag);
        }
        ++depth_;
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        if (--depth_ == 1) {
            elements.back().span.end = tag.end;
        } else if (depth_ == 0) {
            end = tag;
        }
    }

    void characters(std::string_view text) override {
        if (depth_ > 1) {
            elements.back().value += text;
        }
    }

    std::vector<PropertyElement> elements;
    std::vector<XmlSpan> tags;  ///< the start tag of each
    XmlSpan end{};              ///< the end tag of the root; no bytes when its start tag is its end

private:
    std::size_t depth_ = 0;
};

ElementHandler readElements(const Part& part, const fl::Bytes& content) {
    ElementHandler handler;
    opc::inPart(part.getName().ascii(),
                [&] { readXml(content, "part " + part.getName().ascii(), XmlEncoding::AsDeclared, handler); });
    return handler;
}

std::vector<PropertyElement> elementsOf(const Part& part, const fl::Bytes& content) {
    return readElements(part, content).elements;
}

bool isCore(const Part& part) { return part.getContentType().getMediaType() == kCoreType; }

bool holdsProperties(const Part& part) { return isCore(part) || part.getContentType().getMediaType() == kMoreType; }

/// A start tag, which may be the end tag too, with a text and the end tag.
std::string withText(std::string tag, const std::string& text) {
    if (endsWith(tag, "/>")) {
        tag.replace(tag.size() - 2, 2, ">");
    }
    return tag + escapedText(text) + "</" + tag.substr(1, tag.find_first_of(" \t\r\n>") - 1) + ">";
}

/// The properties with another text in one element; nothing where it is not there and cannot be added.
std::optional<std::string> withPropertyText(const std::string& xml, const ElementHandler& found,
                                            const std::string& name, const std::string& text) {
    for (std::size_t i = 0; i < found.elements.size(); ++i) {
        const XmlSpan span = found.elements[i].span;
        const XmlSpan tag = found.tags[i];
        if (found.elements[i].name == name) {
            return xml.substr(0, span.begin) + withText(xml.substr(tag.begin, tag.end - tag.begin), text) +
                   xml.substr(span.end);
        }
    }
    return std::nullopt;
}

std::optional<std::string> withNewProperty(const std::string& xml, const ElementHandler& found, const std::string& name,
                                           const std::string& text) {
    const auto* const known =
        std::find_if(std::begin(kTexts), std::end(kTexts), [&](const auto& each) { return each.first == name; });
    if (known == std::end(kTexts) || found.end.begin == found.end.end) {
        return std::nullopt;
    }
    const std::string tag = "<" + name + " xmlns=\"" + std::string(known->second) + "\">";
    return xml.substr(0, found.end.begin) + withText(tag, text) + xml.substr(found.end.begin);
}

/// @throws opc::Exception when the library does not read properties of so many bytes.
void refuseLarger(std::size_t size, const Part& part) {
    const std::uint64_t most = opc::Limits().maxPackageXmlSize;
    if (size > most) {
        throw opc::Exception(opc::ErrorKind::LimitExceeded,
                             "part " + part.getName().ascii() + ": its " + std::to_string(size) +
                                 " bytes are more than the limit maxPackageXmlSize of " + std::to_string(most) +
                                 " permits",
                             part.getName().ascii());
    }
}

}  // namespace

std::vector<PropertyElement> carriedProperties(const Package& package) {
    std::vector<PropertyElement> all;
    for (const Part& part : package.getParts()) {
        if (isCore(part)) {
            const fl::Bytes content = contentOf(part);
            refuseLarger(content.size(), part);
            const auto found = elementsOf(part, content);
            all.insert(all.end(), found.begin(), found.end());
        }
    }
    return all;
}

std::optional<std::string> corePropertiesPart(const Package& package) {
    for (const Part& part : package.getParts()) {
        if (isCore(part)) {
            return part.getName().ascii();
        }
    }
    return std::nullopt;
}

bool setPropertyText(Package& package, const std::string& name, const std::string& value) {
    // An element that is there is changed in any part before one is added, as two of one name would be an error.
    for (const auto& change : {withPropertyText, withNewProperty}) {
        for (Part& part : package.getParts()) {
            if (!holdsProperties(part) || (change == withNewProperty && !isCore(part))) {
                continue;
            }
            const fl::Bytes content = inUtf8(contentOf(part), "part " + part.getName().ascii());
            const auto changed = change({content.begin(), content.end()}, readElements(part, content), name, value);
            if (changed) {
                refuseLarger(changed->size(), part);
                part.getOutputStream()->write(changed->data(), changed->size());
                return true;
            }
        }
    }
    return false;
}

void removeProperty(Package& package, const std::string& name) {
    for (Part& part : package.getParts()) {
        if (!holdsProperties(part)) {
            continue;
        }
        fl::Bytes content = contentOf(part);
        std::vector<PropertyElement> elements = elementsOf(part, content);
        const std::size_t before = content.size();
        // From the end, so that the places of those before stay right.
        for (auto each = elements.rbegin(); each != elements.rend(); ++each) {
            if (each->name == name) {
                content.erase(content.begin() + static_cast<std::ptrdiff_t>(each->span.begin),
                              content.begin() + static_cast<std::ptrdiff_t>(each->span.end));
            }
        }
        if (content.size() != before) {
            part.getOutputStream()->write(content.data(), content.size());
        }
    }
}

}  // namespace flowbook::kit
