#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Figures.hpp"
#include "kit/page/Look.hpp"
#include "kit/page/Notes.hpp"

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace flowbook::kit {

/// The links of a document's text, and the places in it that they lead to: its bookmarks.
class Links {
public:
    /// @param figures, notes  of the document; must outlive this object. @param root  may be null.
    Links(const Figures& figures, const Notes& notes, const XmlNode* root);

    /// Where a text leads; empty when it is no link, or one that a page does not follow.
    std::string targetOf(const Look& look);

    /// The id for the place of a bookmark, which is given once; empty when there is nothing to write.
    std::string idFor(std::string_view bookmark);

    /// Where an element leads that refers to a note, and the id for its own place; both are empty for other elements,
    /// and the second one where another place refers to the note already.
    std::pair<std::string, std::string> noteOf(const XmlNode& node);

    /// The id of a note, and that of the place that refers to it, which is empty when there is none.
    std::pair<std::string, std::string> idsOfNote(const std::string& name) const;

    /// The ids of the bookmarks whose place was not written.
    std::vector<std::string> idsLeft() const;

private:
    void collect(const XmlNode& node);

    const Figures* figures_;
    const Notes* notes_;
    std::set<std::string> shownNotes_;                    ///< names of those that a place refers to
    std::map<std::string, bool, std::less<>> bookmarks_;  ///< by name; whether the place was written
    std::size_t bytes_ = 0;
};

}  // namespace flowbook::kit
