#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Figures.hpp"
#include "kit/page/Look.hpp"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace flowbook::kit {

/// The links of a document's text, and the places in it that they lead to: its bookmarks.
class Links {
public:
    /// @param figures  know the document's relationships; must outlive this object. @param root  may be null.
    Links(const Figures& figures, const XmlNode* root);

    /// Where a text leads; empty when it is no link, or one that a page does not follow.
    std::string targetOf(const Look& look);

    /// The id for the place of a bookmark, which is given once; empty when there is nothing to write.
    std::string idFor(std::string_view bookmark);

    /// The ids of the bookmarks whose place was not written.
    std::vector<std::string> idsLeft() const;

private:
    void collect(const XmlNode& node);

    const Figures* figures_;
    std::map<std::string, bool, std::less<>> bookmarks_;  ///< by name; whether the place was written
    std::size_t bytes_ = 0;
};

}  // namespace flowbook::kit
