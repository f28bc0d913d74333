#include "kit/document/RichCodePart.hpp"

#include "flowbook/FlowbookFilePackage.hpp"
#include "kit/document/Document.hpp"
#include "opc/model/StandardPartInfo.hpp"

namespace flowbook::kit {

using opc::interfaces::CompressionType;
using opc::model::ContentType;
using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;

void takeOver(const std::vector<Relationship>& relationships, Part& part) {
    for (const Relationship& each : relationships) {
        part.carryRelationship(each.getType(), each.getTarget(), each.getTargetMode(), each.getID());
    }
}

Part withContentType(Package& package, const Part& old, const ContentType& type) {
    if (old.getContentType() == type) {
        return old;
    }
    const std::vector<Relationship> relationships = old.getRelationships(opc::model::ExcludeMode::None);
    const PartName& name = old.getName();
    package.deletePart(name);
    Part part = package.createPart(name, type, opc::model::StandardPartInfo(CompressionType::Normal, 0));
    takeOver(relationships, part);
    return part;
}

Part richCodePart(Package& package) {
    return codePartOfType(package, ContentType(FlowbookFilePackage::createEmptyDocumentPart().contentType));
}

Part codePartOfType(Package& package, const ContentType& type) {
    if (const auto part = codePartOf(package)) {
        return withContentType(package, *part, type);
    }
    const PartName name(FlowbookFilePackage::createEmptyDocumentPart().partName);
    package.createInternalRelationship(documentRelationshipType(), name.getURI(), u"");
    return package.createPart(name, type, opc::model::StandardPartInfo(CompressionType::Normal, 0));
}

}  // namespace flowbook::kit
