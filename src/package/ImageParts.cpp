#include "flowbook/FlowbookFilePackage.hpp"

#include <iterator>
#include <map>
#include <utility>

namespace flowbook {

namespace {

/// What stands between the first ":" (or the start) and the first ";base64" (or the end). Nothing is
/// checked: a ";base64" in front of the ":" leaves all that follows the ":".
std::string mimeTypeOf(const std::string& image) {
    const std::size_t start = image.find(':') + 1;
    const std::size_t end = image.find(";base64");
    return image.substr(start, end - start);
}

std::string extensionOf(const std::string& mimeType) { return mimeType.substr(mimeType.find('/') + 1); }

}  // namespace

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
