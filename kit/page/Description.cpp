#include "kit/page/Description.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/RichText.hpp"
#include "kit/page/BlockKinds.hpp"

namespace flowbook::kit {

using opc::model::Relationship;

namespace {

/// What programs that only open and save a document put anew.
bool isOfSession(std::string_view local) {
    return startsWith(local, "rsid") || local == "proofErr" || local == "lastRenderedPageBreak";
}

std::string ofLook(const Look& look) {
    std::string text;
    for (const bool is : {look.bold, look.italic, look.underline, look.strike, look.raised, look.lowered, look.fixed,
                          look.concealed, look.inserted, look.deleted}) {
        text += is ? '1' : '0';
    }
    return text + look.language + " " + look.address + " " + look.bookmark + " ";
}

}  // namespace

Description::Description(const Document& document, const Definitions& definitions)
    : document_(&document), definitions_(&definitions) {
    follow(document.codeRelationships());
}

void Description::follow(const std::vector<Relationship>& relationships) {
    relationships_.clear();
    targets_.clear();
    for (const Relationship& each : relationships) {
        relationships_.emplace(fl::i18n::to_string(each.getID()), each);
    }
}

std::string Description::ofPiece(const Piece& piece) {
    switch (piece.kind) {
    case Piece::Kind::Formula:
        return "formula " + ofMarkup(*piece.node);
    case Piece::Kind::Picture:
        return "picture " + ofTarget(piece.text);
    case Piece::Kind::Blocks:
        return "box";
    default:
        return kit::ofLook(piece.look) + (piece.look.link.empty() ? "" : ofTarget(piece.look.link));
    }
}

std::string Description::ofParagraph(const XmlNode& paragraph) const {
    const XmlNode* const properties = paragraph.child("pPr");
    const XmlNode* const indent = properties == nullptr ? nullptr : properties->child("ind");
    std::string text = std::to_string(definitions_->styles().headingOf(paragraph)) + " ";
    if (indent != nullptr) {
        text.append(indent->attribute("left")).append(indent->attribute("start"));
    }
    if (const auto item = definitions_->numbering().itemOf(paragraph)) {
        text += " " + std::to_string(item->level) + (item->isOrdered ? " number " : " bullet ");
        text += item->levels == nullptr ? "" : (*item->levels)[item->level].format;
    }
    return text + "\n";
}

/// Where a relationship leads: an address, or the content of a part.
const std::string& Description::ofTarget(std::string_view relationship) {
    const auto known = targets_.find(relationship);
    if (known != targets_.end()) {
        return known->second;
    }
    std::string target = "nowhere";
    const auto found = relationships_.find(relationship);
    if (found != relationships_.end()) {
        const auto part = document_->partAt(found->second);
        try {
            target = part ? partDigest(*part) : targetOf(found->second);
        } catch (const opc::Exception& failure) {
            target = failure.what();
        }
    }
    return targets_.emplace(relationship, std::move(target)).first->second;
}

std::string Description::ofTag(const XmlNode& node) {
    std::string text(node.local);
    for (const XmlNode::Attribute& each : node.attributes) {
        if (!isOfSession(each.local)) {
            const bool isReference = each.ns == kRelationshipNamespace;
            text += " " + std::string(each.local) + "=" + (isReference ? ofTarget(each.value) : each.value);
        }
    }
    return text;
}

std::string Description::ofMarkup(const XmlNode& node) {
    if (node.isText() || isOfSession(node.local)) {
        return {};
    }
    std::string text = "<" + ofTag(node) + ">";
    for (const XmlNode& child : node.children) {
        text += isBlock(child) ? "box" : ofMarkup(child);
    }
    return text + "</>";
}

}  // namespace flowbook::kit
