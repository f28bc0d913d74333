// Styles with what they take over from the styles that they are based on. A hostile document bases styles on each other
// in a ring, so the way up is limited.
#include "kit/page/Styles.hpp"

#include "kit/document/RichText.hpp"

#include <algorithm>
#include <cctype>
#include <utility>

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
    std::vector<std::string_view> ofCharacters;
    for (std::size_t i = 0; part != nullptr && i < part->children.size(); ++i) {
        const XmlNode& node = part->children[i];
        if (node.local == "docDefaults") {
            readDefaults(node);
        } else if (node.local == "style") {
            addStyle(node);
            if (node.attribute("type") == "character") {
                ofCharacters.push_back(node.attribute("styleId"));
            }
        }
    }
    for (auto& [id, style] : styles_) {
        style.look = defaults_;
    }
    for (const std::string_view id : ofCharacters) {
        styles_.find(id)->second.look = Look();
    }
    for (auto& [id, style] : styles_) {
        applyStyle(style.look, id);
    }
}

void Styles::addStyle(const XmlNode& node) {
    const std::string id(node.attribute("styleId"));
    Style& style = styles_[id];
    style.name = node.valueOf("name");
    style.base = node.valueOf("basedOn");
    style.run = node.child("rPr");
    if (const XmlNode* const properties = node.child("pPr")) {
        style.outline = properties->valueOf("outlineLvl");
        const XmlNode* const numbering = properties->child("numPr");
        style.list = numbering == nullptr ? "" : numbering->valueOf("numId");
        style.level = numbering == nullptr ? "" : numbering->valueOf("ilvl");
    }
    const std::string_view isDefault = node.attribute("default");
    if (node.attribute("type") == "paragraph" && (isDefault == "1" || isDefault == "true" || isDefault == "on")) {
        defaultStyle_ = id;
    }
}

/// What holds for all text, whatever its style. Its language is that of the page, which no text repeats.
void Styles::readDefaults(const XmlNode& defaults) {
    const XmlNode* const run = defaults.child("rPrDefault");
    applyRunProperties(defaults_, run == nullptr ? nullptr : run->child("rPr"));
    language_ = std::exchange(defaults_.language, {});
}

/// Takes over what a style says of text, from the style at the end of its line on.
void Styles::applyStyle(Look& look, std::string_view style) const {
    std::vector<const XmlNode*> properties;
    findBase(style, [&](const std::string&, const Style& each) {
        properties.push_back(each.run);
        return false;
    });
    std::for_each(properties.rbegin(), properties.rend(),
                  [&look](const XmlNode* each) { applyRunProperties(look, each); });
}

Look Styles::lookOf(const XmlNode& paragraph) const {
    const std::string_view named = styleOf(paragraph);
    const auto style = styles_.find(named.empty() ? std::string_view(defaultStyle_) : named);
    return style == styles_.end() ? defaults_ : style->second.look;
}

/// Where styles of paragraph and text both switch something on, such as bold, it is off: so italic words stand out in
/// italic text. What the run says itself holds in any case.
Look Styles::lookOfRun(const XmlNode* properties, const Look& around) const {
    Look look = around;
    const std::string_view named = characterStyleIn(properties);
    const auto style = named.empty() ? styles_.end() : styles_.find(named);
    if (style != styles_.end()) {
        const Look& own = style->second.look;
        applyStyle(look, named);
        look.bold = around.bold != own.bold;
        look.italic = around.italic != own.italic;
        look.strike = around.strike != own.strike;
        look.concealed = around.concealed != own.concealed;
    }
    applyStyleName(look, named, style != styles_.end());
    applyRunProperties(look, properties);
    return look;
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
