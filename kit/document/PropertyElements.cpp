#include "kit/document/PropertyElements.hpp"

#include "kit/document/Document.hpp"

#include <utility>

namespace flowbook::kit {

using opc::model::Package;
using opc::model::Part;

namespace {

constexpr std::u16string_view kCoreType = u"application/vnd.openxmlformats-package.core-properties+xml";

class ElementHandler : public XmlHandler {
public:
    void startElement(const XmlName& name, const std::vector<XmlAttribute>&, XmlSpan tag) override {
        if (depth_ == 1) {
            elements.push_back({std::string(name.local), "", tag});
        }
        ++depth_;
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        if (--depth_ == 1) {
            elements.back().span.end = tag.end;
        }
    }

    void characters(std::string_view text) override {
        if (depth_ > 1) {
            elements.back().value += text;
        }
    }

    std::vector<PropertyElement> elements;

private:
    std::size_t depth_ = 0;
};

std::vector<PropertyElement> elementsOf(const Part& part, const fl::Bytes& content) {
    ElementHandler handler;
    readXml(content, "part " + part.getName().ascii(), XmlEncoding::AsDeclared, handler);
    return std::move(handler.elements);
}

bool isCore(const Part& part) { return part.getContentType().getMediaType() == kCoreType; }

}  // namespace

std::vector<PropertyElement> carriedProperties(const Package& package) {
    std::vector<PropertyElement> all;
    for (const Part& part : package.getParts()) {
        if (isCore(part)) {
            const auto found = elementsOf(part, contentOf(part));
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

void removeProperty(Package& package, const std::string& name) {
    for (Part& part : package.getParts()) {
        if (!isCore(part)) {
            continue;
        }
        fl::Bytes content = contentOf(part);
        std::vector<PropertyElement> elements = elementsOf(part, content);
        const std::size_t before = content.size();
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
