#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Look.hpp"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// The style that a paragraph names; empty for none.
std::string_view styleOf(const XmlNode& paragraph);

/// The styles that a document's part of styles defines (ECMA-376-1, part 1, 17.7), each with what it takes over from
/// the style that it is based on. A document may name styles that none defines.
class Styles {
public:
    /// The list that a style puts its paragraphs into.
    struct Numbering {
        std::string style;  ///< the one that says so
        std::string list;
        std::string level;  ///< empty when only the list says which one
    };

    /// @param part  the root of the part of styles, which must outlive this object; null when there is none.
    explicit Styles(const XmlNode* part);

    /// Whether the paragraph's style, or one that it is based on, has the word in its id or name.
    /// @param word  in small letters.
    bool isCalled(const XmlNode& paragraph, std::string_view word) const;

    /// The level that a paragraph's style, or else its outline level, gives it as a heading, from 1; 0 for no heading.
    int headingOf(const XmlNode& paragraph) const;

    std::optional<Numbering> numberingOf(std::string_view style) const;

    /// How text without formatting looks in the paragraph: as its style says, or else the document's default style.
    Look lookOf(const XmlNode& paragraph) const;

    /// How the text of a run looks. @param properties  of the run; may be null. @param around  as lookOf() returns.
    Look lookOfRun(const XmlNode* properties, const Look& around) const;

    /// The language of text that names none (BCP 47); empty when the styles name none either.
    const std::string& language() const noexcept { return language_; }

private:
    struct Style {
        std::string name;
        std::string base;
        std::string outline;
        std::string list;
        std::string level;
        const XmlNode* run = nullptr;  ///< the properties of text; null for none
        Look look{};                   ///< of text, with what it takes over
    };

    void addStyle(const XmlNode& node);
    void readDefaults(const XmlNode& defaults);
    void applyStyle(Look& look, std::string_view style) const;
    const std::string* findBase(std::string_view style,
                                const std::function<bool(const std::string& id, const Style& style)>& isWanted) const;

    std::map<std::string, Style, std::less<>> styles_;  ///< by id
    std::string defaultStyle_;                          ///< of paragraphs that name none
    Look defaults_;
    std::string language_;
};

}  // namespace flowbook::kit
