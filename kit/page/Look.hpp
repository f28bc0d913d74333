#pragma once

#include "kit/document/XmlTree.hpp"

#include <string>
#include <string_view>

namespace flowbook::kit {

/// How a text looks, as its run, its styles and what stands around it say.
struct Look {
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    bool raised = false;
    bool lowered = false;
    bool fixed = false;      ///< in a style of code
    bool concealed = false;  ///< the flowbook asks not to show it
    bool inserted = false;   ///< by a recorded change
    bool deleted = false;    ///< likewise
    std::string link;        ///< the relationship that a hyperlink names
    std::string address;     ///< where a hyperlink leads that names no relationship
    std::string bookmark;    ///< the place in the document, or behind the link, that a hyperlink names
    std::string language;    ///< BCP 47; empty when there is none of its own

    bool operator==(const Look& other) const;
};

/// Takes over what run properties (`w:rPr`) say; what they do not mention stays. @param properties  may be null.
void applyRunProperties(Look& look, const XmlNode* properties);

/// The style of characters that run properties name; empty for none. @param properties  may be null.
std::string_view characterStyleIn(const XmlNode* properties);

/// Takes over what a style of characters says by its well-known name alone.
/// @param isDefined  whether the document defines the style itself: then only its being one of code counts.
void applyStyleName(Look& look, std::string_view style, bool isDefined);

/// Whether it may stand in `lang`.
bool isLanguage(std::string_view tag);

}  // namespace flowbook::kit
