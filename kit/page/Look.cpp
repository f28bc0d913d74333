#include "kit/page/Look.hpp"

#include "kit/page/Wording.hpp"

#include <cctype>
#include <tuple>

namespace flowbook::kit {

namespace {

bool isSwitchedOn(std::string_view value) { return !isOneOf(value, {"false", "0", "off", "none"}); }

void applyRunProperty(Look& look, const XmlNode& property) {
    const std::string_view value = property.attribute("val");
    const std::string_view name = property.local;
    if (name == "b") {
        look.bold = isSwitchedOn(value);
    } else if (name == "i") {
        look.italic = isSwitchedOn(value);
    } else if (name == "u") {
        look.underline = isSwitchedOn(value);
    } else if (name == "strike" || name == "dstrike") {
        look.strike = isSwitchedOn(value);
    } else if (name == "vanish") {
        look.concealed = isSwitchedOn(value);
    } else if (name == "vertAlign") {
        look.raised = value == "superscript";
        look.lowered = value == "subscript";
    } else if (name == "lang") {
        look.language = isLanguage(value) ? value : "";
    }
}

}  // namespace

bool Look::operator==(const Look& other) const {
    const auto all = [](const Look& look) {
        return std::tie(look.bold, look.italic, look.underline, look.strike, look.raised, look.lowered, look.fixed,
                        look.concealed, look.inserted, look.deleted, look.link, look.address, look.bookmark,
                        look.language);
    };
    return all(*this) == all(other);
}

void applyRunProperties(Look& look, const XmlNode* properties) {
    for (std::size_t i = 0; properties != nullptr && i < properties->children.size(); ++i) {
        applyRunProperty(look, properties->children[i]);
    }
}

std::string_view characterStyleIn(const XmlNode* properties) {
    return properties == nullptr ? std::string_view() : properties->valueOf("rStyle");
}

// Importers of Markdown and office suites give styles of characters these names.
void applyStyleName(Look& look, std::string_view style, bool isDefined) {
    look.bold = look.bold || (style == "Strong" && !isDefined);
    look.italic = look.italic || (style == "Emphasis" && !isDefined);
    look.fixed = look.fixed || isOneOf(style, {"code", "Code", "VerbatimChar", "HTMLCode", "SourceCode"});
}

bool isLanguage(std::string_view tag) {
    std::size_t length = 0;
    bool isFirst = true;
    for (const char c : std::string(tag) + "-") {
        const bool isEnd = c == '-';
        if (isEnd ? length == 0 || length > 8 || (isFirst && length > 3) || (isFirst && length < 2)
                  : std::isalnum(static_cast<unsigned char>(c)) == 0 ||
                        (isFirst && std::isalpha(static_cast<unsigned char>(c)) == 0)) {
            return false;
        }
        length = isEnd ? 0 : length + 1;
        isFirst = isFirst && !isEnd;
    }
    return tag.size() <= 35;
}

}  // namespace flowbook::kit
