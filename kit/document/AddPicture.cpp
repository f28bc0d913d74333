#include "kit/document/AddPicture.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/RichCodePart.hpp"
#include "opc/Exception.hpp"
#include "opc/model/StandardPartInfo.hpp"

#include <algorithm>
#include <string_view>

namespace flowbook::kit {

using opc::model::ContentType;
using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;

namespace {

/// RFC 6838, 4.2: a subtype has 127 characters at most.
constexpr std::size_t kMaxTypeSize = std::string_view("image/").size() + 127;

bool isNamePart(char letter) { return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9'); }

/// Of "image/svg+xml" it is "svg".
std::string subtypeExtension(const std::string& mediaType) {
    const std::string subtype = mediaType.substr(mediaType.find('/') + 1);
    return {subtype.begin(), std::find_if_not(subtype.begin(), subtype.end(), isNamePart)};
}

std::string checkedType(const std::string& mediaType) {
    const ContentType type(fl::i18n::to_ustring(mediaType));
    std::string plain = fl::i18n::to_string(type.getMediaType());
    const bool isPicture = plain.rfind("image/", 0) == 0 && plain.size() <= kMaxTypeSize;
    if (!isPicture || subtypeExtension(plain).empty() || !type.getParameters().empty()) {
        throw opc::Exception(opc::ErrorKind::Misuse, "'" + mediaType + "' is no type of pictures");
    }
    return plain;
}

/// Pictures hang on the code, so a package without any gets an empty document.
Part codePartFor(Package& package) {
    if (auto present = codePartOf(package)) {
        return *std::move(present);
    }
    Part part = richCodePart(package);
    const fl::Bytes empty = FlowbookFilePackage::createEmptyDocumentPart().content;
    part.getOutputStream()->write(empty.data(), empty.size());
    return part;
}

/// A relationship to a picture of that extension that is not there yet: the first one, unless pictures were removed.
/// The search doubles its steps, so that many pictures can be added one by one.
FlowbookFilePackage::Relationship freeRelationship(const Package& package, std::string extension) {
    const auto relationshipTo = [&](int number) {
        return FlowbookFilePackage::createImageRelationship(1, extension, number);
    };
    const auto isTaken = [&](int number) { return package.hasPart(PartName(relationshipTo(number).target)); };
    int taken = 0;
    int free = 1;
    while (isTaken(free)) {
        taken = free;
        free *= 2;
    }
    while (free - taken > 1) {
        const int middle = taken + (free - taken) / 2;
        (isTaken(middle) ? taken : free) = middle;
    }
    return relationshipTo(free);
}

}  // namespace

void checkPictureType(const std::string& mediaType) { checkedType(mediaType); }

AddedPicture addPicture(Package& package, const std::string& mediaType, const fl::Bytes& picture) {
    const std::string type = checkedType(mediaType);
    const auto relationship = freeRelationship(package, subtypeExtension(type));
    const PartName name(relationship.target);
    const opc::model::StandardPartInfo info(opc::interfaces::CompressionType::Normal, 0);
    const std::string content = writeDataUri({"data:" + type + ";base64", picture});
    package.createPart(name, ContentType(fl::i18n::to_ustring(type)), info)
        .getOutputStream()
        ->write(content.data(), content.size());
    const auto made = codePartFor(package).createInternalRelationship(relationship.type, name.getURI(), u"");
    return {name.ascii(), fl::i18n::to_string(made.getID())};
}

}  // namespace flowbook::kit
