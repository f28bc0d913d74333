#include "kit/document/SearchedText.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

namespace flowbook::kit {

namespace {

void appendLines(std::string& text, const std::string& opening, std::string_view lines) {
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        text.append(opening).append(line) += '\n';
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    }
}

[[noreturn]] void throwDamaged(const std::string& fault) { throw opc::Exception(opc::ErrorKind::Damaged, fault); }

bool isText(const std::string& type) {
    const auto endsWithXml = [](const std::string& each) {
        return each.size() >= 3 && each.compare(each.size() - 3, 3, "xml") == 0;
    };
    return type.rfind("text/", 0) == 0 || endsWithXml(type.substr(0, type.find(';')));
}

std::size_t countOf(std::string_view text, std::string_view what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string_view::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

}  // namespace

bool holdsOnlyCode(const Document& document) {
    if (document.form() != CodeForm::Plain) {
        return false;
    }
    const fl::Bytes stored = document.storedCode();
    const std::string_view text = asText(stored);
    return countOf(text, "xmlns") == 1 && countOf(text, "xmlns:w=\"") == 1 && countOf(text, "<w:t") == 1 &&
           countOf(text, "<w:p>") == 1 && countOf(text, "<w:pStyle w:val=\"code\"/>") == 1;
}

std::string proseText(const Document& document) {
    if (holdsOnlyCode(document)) {
        return "";
    }
    const RichText rich = document.richText();
    if (!rich.fault.empty()) {
        throwDamaged(rich.fault);
    }
    std::string text;
    for (const Paragraph& paragraph : rich.paragraphs) {
        const std::string all = paragraph.text();
        appendLines(text, "", std::string_view(all).substr(paragraph.code ? paragraph.code->size() : 0));
    }
    return text;
}

std::string propertyText(const Document& document) {
    std::string text;
    for (const Property& property : document.properties()) {
        if (!property.fault.empty()) {
            throw failureOf(property);
        }
        appendLines(text, property.label + ": ", property.value.value_or(""));
    }
    return text;
}

std::string outputText(const Document& document) {
    const std::u16string type = FlowbookFilePackage::getPackageRelationshipTypes()[1];
    std::string text;
    for (const opc::model::Relationship& output : document.package().getRelationshipsByType(type)) {
        const auto part = document.package().getPart(opc::model::PartName(output.getTargetURI()));
        if (isText(fl::i18n::to_string(part.getContentType().toString()))) {
            const fl::Bytes content = contentOf(part);
            appendLines(text, "", asText(content));
        }
    }
    return text;
}

}  // namespace flowbook::kit
