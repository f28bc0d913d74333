// Digests of contents. What two programs may do in different ways without a difference is brought into one form
// first: the order of parts and relationships, the way targets and content types are written, the time of the last
// save. Each field is preceded by its length, so that no two contents run together into one.
#include "kit/compare/Digest.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/document/XmlReader.hpp"
#include "opc/Exception.hpp"

#include <algorithm>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::Relationship;
using opc::model::RelationshipSource;

namespace {

constexpr std::u16string_view kCorePropertiesType = u"application/vnd.openxmlformats-package.core-properties+xml";
constexpr std::string_view kTermsNamespace = "http://purl.org/dc/terms/";

using fl::i18n::to_string;

/// A text in which `ends` are escaped, the characters that end such a text, so that no content can pass for another.
std::string escaped(std::string_view text, std::string_view ends) {
    std::string result;
    for (const char c : text) {
        const bool isEnd = c == '&' || ends.find(c) != std::string_view::npos;
        result += isEnd ? "&" + std::to_string(static_cast<int>(c)) + ";" : std::string(1, c);
    }
    return result;
}

/// The elements below the root, each as one text: names, sorted attributes and content.
class ElementTexts : public XmlHandler {
public:
    explicit ElementTexts(Dates dates) : dates_(dates) {}

    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan) override {
        if (depth_++ == 1) {
            texts_.emplace_back();
            isStamp_ = name.is(kTermsNamespace, "modified") ||
                       (dates_ == Dates::Ignore && name.is(kTermsNamespace, "created"));
        }
        if (depth_ > 1) {
            append("<" + nameOf(name) + attributesOf(attributes) + ">");
        }
    }

    void endElement(const XmlName&, XmlSpan) override {
        append("</>");
        if (--depth_ == 1 && isStamp_) {
            texts_.pop_back();
        }
    }

    /// White space between the elements does not count.
    void characters(std::string_view text) override {
        if (depth_ > 1) {
            append(escaped(text, "<"));
        }
    }

    std::vector<std::string> takeSorted() {
        std::sort(texts_.begin(), texts_.end());
        return std::move(texts_);
    }

private:
    static std::string nameOf(const XmlName& name) {
        return escaped(name.ns, " |\"<>") + "|" + std::string(name.local);
    }

    static std::string attributesOf(const std::vector<XmlAttribute>& attributes) {
        std::vector<std::string> texts;
        texts.reserve(attributes.size());
        for (const XmlAttribute& attribute : attributes) {
            texts.push_back(" " + nameOf(attribute.name) + "=\"" + escaped(attribute.value, "\"") + "\"");
        }
        std::sort(texts.begin(), texts.end());
        std::string all;
        for (const std::string& text : texts) {
            all += text;
        }
        return all;
    }

    void append(std::string_view text) {
        if (!texts_.empty() && depth_ > 1) {
            texts_.back().append(text);
        }
    }

    Dates dates_;
    std::size_t depth_ = 0;
    bool isStamp_ = false;
    std::vector<std::string> texts_;
};

/// Malformed properties count by their bytes.
void addProperties(Sha256& sum, const fl::Bytes& content, Dates dates) {
    std::vector<std::string> elements;
    try {
        elements = propertyElements(content, dates);
    } catch (const opc::Exception&) {
        sum.addField(content);
        return;
    }
    for (const std::string& element : elements) {
        sum.addField(element);
    }
}

std::string keyOf(const Relationship& relationship, bool withId) {
    Sha256 sum;
    sum.addField(withId ? to_string(relationship.getID()) : "");
    sum.addField(to_string(relationship.getType()));
    sum.addField(relationship.getTargetMode() == opc::model::TargetMode::Internal ? "internal" : "external");
    return sum.addField(targetOf(relationship)).take();
}

void addRelationships(Sha256& sum, const RelationshipSource& source, bool withIds) {
    std::vector<std::string> keys;
    for (const Relationship& relationship : source.getRelationships(opc::model::ExcludeMode::None)) {
        keys.push_back(keyOf(relationship, withIds));
    }
    std::sort(keys.begin(), keys.end());
    for (const std::string& key : keys) {
        sum.addField(key);
    }
}

std::string fullTypeOf(const Part& part) {
    const opc::model::ContentType type = part.getContentType();
    std::string text = to_string(type.getMediaType());
    for (const auto& [name, value] : type.getParameters()) {
        text += ";" + to_string(name) + "=" + escaped(to_string(value), ";");
    }
    return text;
}

}  // namespace

std::vector<std::string> propertyElements(const fl::Bytes& content, Dates dates) {
    ElementTexts texts(dates);
    readXml(content, "core properties", XmlEncoding::AsDeclared, texts);
    return texts.takeSorted();
}

std::string targetOf(const Relationship& relationship) {
    const std::u16string& target = relationship.getTarget();
    if (relationship.getTargetMode() == opc::model::TargetMode::Internal) {
        try {
            return to_string(opc::model::URI(target).toString());
        } catch (const opc::Exception&) {  // It leads nowhere, but two files may differ in it.
        }
    }
    return to_string(target);
}

bool isCoreProperties(const Part& part) { return part.getContentType().getMediaType() == kCorePropertiesType; }

std::string contentDigest(const Document& document, Dates dates, const ReadContent& read) {
    Sha256 sum;
    sum.add("flowbook 2\n");
    for (const Part& part : partsInOrder(document)) {
        sum.add("part ").addField(part.getName().folded()).addField(fullTypeOf(part));
        sum.add(partDigest(part, dates, read));
        addRelationships(sum, part, true);
    }
    sum.add("package");
    addRelationships(sum, document.package(), false);
    return sum.take();
}

std::string codeDigest(const Document& document) {
    if (document.form() == CodeForm::Encrypted) {
        return sha256(document.storedCode());
    }
    return Sha256().add(codeAsLines(document.code())).take();
}

std::string partDigest(const Part& part, Dates dates, const ReadContent& read) {
    const fl::Bytes content = read(part);
    if (!isCoreProperties(part)) {
        return sha256(content);
    }
    Sha256 sum;
    addProperties(sum, content, dates);
    return sum.take();
}

std::string codeAsLines(const std::u16string& code) {
    std::string text = to_string(code);
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    return text;
}

}  // namespace flowbook::kit
