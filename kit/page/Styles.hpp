#pragma once

#include "kit/document/XmlTree.hpp"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace flowbook::kit {

/// The style that a paragraph names; empty for none.
std::string_view styleOf(const XmlNode& paragraph);

/// The styles of paragraphs that a document's part of styles defines (ECMA-376-1, part 1, 17.7), each with what it
/// takes over from the style that it is based on. A document may name styles that none defines.
class Styles {
public:
    /// The list that a style puts its paragraphs into.
    struct Numbering {
        std::string style;  ///< the one that says so
        std::string list;
        std::string level;  ///< empty when only the list says which one
    };

    /// @param part  the root of the part of styles; null when there is none.
    explicit Styles(const XmlNode* part);

    /// Whether the paragraph's style, or one that it is based on, has the word in its id or name.
    /// @param word  in small letters.
    bool isCalled(const XmlNode& paragraph, std::string_view word) const;

    /// The level that a paragraph's style, or else its outline level, gives it as a heading, from 1; 0 for no heading.
    int headingOf(const XmlNode& paragraph) const;

    std::optional<Numbering> numberingOf(std::string_view style) const;

private:
    struct Style {
        std::string name;
        std::string base;
        std::string outline;
        std::string list;
        std::string level;
    };

    const std::string* findBase(std::string_view style,
                                const std::function<bool(const std::string& id, const Style& style)>& isWanted) const;

    std::map<std::string, Style, std::less<>> styles_;  ///< by id
};

}  // namespace flowbook::kit
