#include "kit/page/Styles.hpp"

#include "kit/document/RichText.hpp"

#include <algorithm>
#include <cctype>

namespace flowbook::kit {

namespace {

// Styles that are based on each other in a ring have no end.
constexpr int kMostBases = 20;

bool hasWord(std::string text, std::string_view word) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text.find(word) != std::string::npos;
}

/// 1 to 9 for an outline level, which is counted from 0; else 0.
int headingOfOutline(std::string_view level) {
    return level.size() == 1 && level[0] >= '0' && level[0] <= '8' ? level[0] - '0' + 1 : 0;
}

}  // namespace

std::string_view styleOf(const XmlNode& paragraph) {
    const XmlNode* const properties = paragraph.child("pPr");
    return properties == nullptr ? std::string_view() : properties->valueOf("pStyle");
}

Styles::Styles(const XmlNode* part) {
    for (std::size_t i = 0; part != nullptr && i < part->children.size(); ++i) {
        const XmlNode& node = part->children[i];
        if (node.local != "style") {
            continue;
        }
        Style& style = styles_[std::string(node.attribute("styleId"))];
        style.name = node.valueOf("name");
        style.base = node.valueOf("basedOn");
        if (const XmlNode* const properties = node.child("pPr")) {
            style.outline = properties->valueOf("outlineLvl");
            const XmlNode* const numbering = properties->child("numPr");
            style.list = numbering == nullptr ? "" : numbering->valueOf("numId");
            style.level = numbering == nullptr ? "" : numbering->valueOf("ilvl");
        }
    }
}

/// The id of the first style that is wanted, of the given one and those that it is based on; null when there is none.
const std::string* Styles::findBase(std::string_view style,
                                    const std::function<bool(const std::string&, const Style&)>& isWanted) const {
    auto found = styles_.find(style);
    for (int i = 0; i < kMostBases && found != styles_.end(); ++i) {
        if (isWanted(found->first, found->second)) {
            return &found->first;
        }
        found = styles_.find(found->second.base);
    }
    return nullptr;
}

bool Styles::isCalled(const XmlNode& paragraph, std::string_view word) const {
    const std::string_view style = styleOf(paragraph);
    const auto isWanted = [&](const std::string& id, const Style& each) {
        return hasWord(id, word) || hasWord(each.name, word);
    };
    return hasWord(std::string(style), word) || findBase(style, isWanted) != nullptr;
}

int Styles::headingOf(const XmlNode& paragraph) const {
    const std::string_view style = styleOf(paragraph);
    int heading = kit::headingOf(style);
    const XmlNode* const properties = paragraph.child("pPr");
    if (heading == 0 && properties != nullptr && properties->child("outlineLvl") != nullptr) {
        return headingOfOutline(properties->valueOf("outlineLvl"));
    }
    if (heading == 0) {
        findBase(style, [&heading](const std::string& id, const Style& each) {
            const int ofName = std::max(kit::headingOf(id), kit::headingOf(each.name));
            heading = ofName != 0 ? ofName : headingOfOutline(each.outline);
            return heading != 0 || !each.outline.empty();
        });
    }
    return heading;
}

std::optional<Styles::Numbering> Styles::numberingOf(std::string_view style) const {
    const std::string* const id =
        findBase(style, [](const std::string&, const Style& each) { return !each.list.empty(); });
    if (id == nullptr) {
        return std::nullopt;
    }
    const Style& found = styles_.find(*id)->second;
    return Numbering{*id, found.list, found.level};
}

}  // namespace flowbook::kit
