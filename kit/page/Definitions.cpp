#include "kit/page/Definitions.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"

#include <utility>

namespace flowbook::kit {

using opc::model::Relationship;

Definitions::Definitions(const Document& document)
    : styleTree_(readStyles(document)),
      numberingTree_(read(document, document.codeRelationships(), "/numbering")),
      styles_(styleTree_.root()),
      numbering_(numberingTree_.root(), styles_) {}

/// The document's own styles; else those that the whole flowbook has.
XmlTree Definitions::readStyles(const Document& document) {
    XmlTree own = read(document, document.codeRelationships(), "/styles");
    return own.root() != nullptr
               ? std::move(own)
               : read(document, document.package().getRelationships(opc::model::ExcludeMode::External), "/styles");
}

/// @param type  the end of the type of the relationships that lead to the part.
XmlTree Definitions::read(const Document& document, const std::vector<Relationship>& all, std::string_view type) {
    XmlTree tree;
    for (const Relationship& each : all) {
        const bool isWanted = endsWith(fl::i18n::to_string(each.getType()), type);
        const std::optional<opc::model::Part> part = isWanted ? document.partAt(each) : std::nullopt;
        if (!part) {
            continue;
        }
        tree = readPartTree(document, *part, faults_);
    }
    return tree;
}

}  // namespace flowbook::kit
