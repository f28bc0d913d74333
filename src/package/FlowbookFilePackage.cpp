#include "flowbook/FlowbookFilePackage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "format/Vocabulary.hpp"
#include "format/XmlTemplates.hpp"
#include "package/OutputPart.hpp"

#include <utility>

namespace flowbook {

namespace {

std::vector<unsigned char> toBytes(const std::string& text) { return {text.begin(), text.end()}; }

std::u16string decimal(int number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

}  // namespace

FlowbookFilePackage::FlowbookFilePackage()
    : parts_{createEmptyDocumentPart(), createEmptyOutputPart()},
      relationships_{createDocumentRelationship(), createOutputRelationship()} {}

FlowbookFilePackage::FlowbookFilePackage(std::vector<Part>& parts, std::vector<Relationship>& relationships)
    : parts_(parts), relationships_(relationships) {}

FlowbookFilePackage::FlowbookFilePackage(std::vector<Part>&& parts, std::vector<Relationship>&& relationships) noexcept
    : parts_(std::move(parts)), relationships_(std::move(relationships)) {}

FlowbookFilePackage::FlowbookFilePackage(std::vector<unsigned char>& documentContent)
    : parts_{createDocumentPartWithContent(documentContent), createEmptyOutputPart()},
      relationships_{createDocumentRelationship(), createOutputRelationship()} {}

std::vector<FlowbookFilePackage::Part> FlowbookFilePackage::getParts() const { return parts_; }

std::vector<FlowbookFilePackage::Relationship> FlowbookFilePackage::getRelationships() const { return relationships_; }

std::vector<std::u16string> FlowbookFilePackage::getPackageRelationshipTypes() {
    return {format::kDocumentRelationshipType, format::kOutputRelationshipType, format::kDocumentationRelationshipType,
            format::kStylesRelationshipType};
}

FlowbookFilePackage::Part FlowbookFilePackage::createEmptyDocumentPart() {
    std::vector<unsigned char> content = toBytes(format::kEmptyRichCodeXml);
    return createDocumentPartWithContent(content);
}

FlowbookFilePackage::Part FlowbookFilePackage::createDocumentPartWithContent(std::vector<unsigned char>& content) {
    return {content, format::kDocumentContentType, format::kDocumentPartName, {}};
}

FlowbookFilePackage::Part FlowbookFilePackage::createEmptyOutputPart() {
    return {toBytes(detail::makeEmptyOutputXml()), format::kOutputContentType, format::kOutputPartName, {}};
}

FlowbookFilePackage::Relationship FlowbookFilePackage::createDocumentRelationship() {
    return {format::kDocumentRelationshipType, format::kDocumentPartName, format::kDocumentRelationshipId, true};
}

FlowbookFilePackage::Relationship FlowbookFilePackage::createOutputRelationship() {
    return {format::kOutputRelationshipType, format::kOutputPartName, format::kOutputRelationshipId, true};
}

FlowbookFilePackage::Part FlowbookFilePackage::createImagePart(std::u16string& partName, std::string& contentType,
                                                               std::string& data) {
    return {toBytes(data), fl::i18n::to_ustring(contentType), partName, {}};
}

FlowbookFilePackage::Relationship
FlowbookFilePackage::createImageRelationship(int relationshipNumber, std::string& extension, int imageNumber) {
    return {format::kImageRelationshipType,
            format::kImagePartNamePrefix + decimal(imageNumber) + u"." + fl::i18n::utf8_to_ustring(extension),
            format::kRelationshipIdPrefix + decimal(relationshipNumber), true};
}

}  // namespace flowbook
