#pragma once

#include "kit/page/Markup.hpp"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace flowbook::kit {

/// The headings of a page below its title, and its outline. Headings of one style have one level. No level is left out
/// from one heading to the next, so that they can be found one from another.
class Headings {
public:
    /// @param styles  the levels that the styles of the page's headings have, 1 to 9, in the order of the page.
    explicit Headings(const std::vector<int>& styles);

    /// Opens a heading, which the caller closes.
    /// @param label  its number, as the document writes it; may be empty. @param text  all its text, without markup.
    void open(Markup& out, int style, const std::string& label, const std::string& text);

    /// A list of links to the headings; nothing when there are none.
    void writeOutline(Markup& out) const;

private:
    struct Heading {
        std::size_t level;
        std::string id;
        std::string text;  ///< with its label
    };

    std::map<int, std::size_t> levels_;  ///< by style; 1 for the highest heading below the title
    std::vector<Heading> headings_;
    std::set<std::string> ids_;
    std::map<std::string, std::size_t> repeats_;  ///< the last number behind an id, by what stands before it
};

}  // namespace flowbook::kit
