// The snapshot of a flowbook: parts and relationships as values, with no file behind them. It checks nothing, as what
// is wrong with a part is found when the snapshot is written.
#include "flowbook/FlowbookFilePackage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "format/Vocabulary.hpp"
#include "format/XmlTemplates.hpp"
#include "package/NewParts.hpp"

#include <iterator>
#include <map>
#include <utility>

namespace flowbook {
namespace {

std::vector<unsigned char> toBytes(const std::string& text) { return {text.begin(), text.end()}; }

std::u16string decimal(int number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

/// Returns what stands between the first ":" (or the start) and the first ";base64" (or the end) of a data URI. Nothing
/// is checked: with a ";base64" in front of the ":", everything behind the ":" is returned.
std::string mimeTypeOf(const std::string& image) {
    const std::size_t start = image.find(':') + 1;
    const std::size_t end = image.find(";base64");
    return image.substr(start, end - start);
}

std::string extensionOf(const std::string& mimeType) { return mimeType.substr(mimeType.find('/') + 1); }

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
    // Snapshots are read and written in this order, and callers name the types by their places in it.
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

/// The images belong to the document, which refers to them. They are numbered anew for each extension (image1.png,
/// image1.gif), while the ids of their relationships count through.
FlowbookFilePackage::FlowbookFilePackage(std::vector<unsigned char>& documentContent, std::vector<std::string>& images)
    : relationships_{createDocumentRelationship(), createOutputRelationship()} {
    Part document = createDocumentPartWithContent(documentContent);
    Part output = createEmptyOutputPart();
    std::map<std::string, int> countPerExtension;
    int position = 0;
    parts_.reserve(images.size() + 2);
    for (std::string& image : images) {
        std::string mimeType = mimeTypeOf(image);
        std::string extension = extensionOf(mimeType);
        Relationship relationship = createImageRelationship(++position, extension, ++countPerExtension[extension]);
        parts_.push_back(createImagePart(relationship.target, mimeType, image));
        document.relationships.push_back(std::move(relationship));
    }
    parts_.push_back(std::move(document));
    parts_.push_back(std::move(output));
}

}  // namespace flowbook
