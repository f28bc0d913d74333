#include "kit/page/FurtherProperties.hpp"

#include "kit/compare/Digest.hpp"
#include "kit/document/XmlTree.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace flowbook::kit {

namespace {

/// Those that Document::properties() returns have no label here.
constexpr struct {
    std::string_view name;
    std::string_view label;
} kLabels[] = {{"title", ""},
               {"description", ""},
               {"version", ""},
               {"created", ""},
               {"modified", ""},
               {"creator", "Creator"},
               {"lastModifiedBy", "Last modified by"},
               {"subject", "Subject"},
               {"keywords", "Keywords"},
               {"category", "Category"},
               {"language", "Language"},
               {"contentStatus", "Status"},
               {"contentType", "Content type"},
               {"identifier", "Identifier"},
               {"lastPrinted", "Last printed"},
               {"revision", "Revision"}};

std::string_view labelOf(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(kLabels), std::end(kLabels), [&](const auto& each) { return each.name == name; });
    return found == std::end(kLabels) ? name : found->label;
}

/// Keywords in several languages are elements of their own.
std::string joinedText(const XmlNode& node) {
    std::string value;
    for (const XmlNode& child : node.children) {
        const std::string text = child.allText();
        const bool isBlank = isBlankText(text);
        value += isBlank ? "" : (value.empty() ? "" : ", ") + text;
    }
    return value;
}

}  // namespace

std::vector<FurtherProperty> furtherPropertiesOf(const Document& document) {
    std::vector<FurtherProperty> found;
    for (const opc::model::Part& part : document.package().getParts()) {
        if (!isCoreProperties(part)) {
            continue;
        }
        const XmlTree tree = readXmlTree(contentOf(part), document.where(part), XmlEncoding::AsDeclared);
        for (const XmlNode& node : tree.root() == nullptr ? std::vector<XmlNode>() : tree.root()->children) {
            const std::string value = node.isText() ? "" : joinedText(node);
            if (!value.empty() && !labelOf(node.local).empty()) {
                found.push_back({std::string(node.local), std::string(labelOf(node.local)), value});
            }
        }
        break;
    }
    return found;
}

}  // namespace flowbook::kit
