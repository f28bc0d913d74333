#include "kit/page/Links.hpp"

#include "kit/page/Frame.hpp"
#include "kit/page/Pieces.hpp"

#include <algorithm>
#include <utility>

namespace flowbook::kit {

namespace {

// The target of one link may be that of any number of runs.
constexpr std::size_t kMostLinkBytes = std::size_t{16} << 20;
constexpr std::size_t kLongestBookmark = 200;

/// An address has "%" where an id has ":", so that the id itself stands in the address.
std::string idWith(std::string_view name) {
    std::string id = addressOf(name);
    std::replace(id.begin(), id.end(), '%', ':');
    return id;
}

std::string idOf(std::string_view bookmark) { return "bookmark-" + idWith(bookmark); }

}  // namespace

Links::Links(const Figures& figures, const Notes& notes, const XmlNode* root) : figures_(&figures), notes_(&notes) {
    if (root != nullptr) {
        collect(*root);
    }
}

void Links::collect(const XmlNode& node) {
    if (node.local == "bookmarkStart") {
        const std::string_view name = node.attribute("name");
        if (!name.empty() && name.size() <= kLongestBookmark) {
            bookmarks_.emplace(name, false);
        }
    } else if (node.local == "AlternateContent") {
        forEachShown(node, [this](const XmlNode& each) { collect(each); });
    } else {
        std::for_each(node.children.begin(), node.children.end(), [this](const XmlNode& each) { collect(each); });
    }
}

std::string Links::targetOf(const Look& look) {
    std::string target = !look.link.empty()            ? figures_->linkTarget(look.link)
                         : isLinkAddress(look.address) ? look.address
                                                       : std::string();
    if (!target.empty() && !look.bookmark.empty()) {
        target += "#" + addressOf(look.bookmark);
    } else if (look.link.empty() && look.address.empty() && bookmarks_.count(look.bookmark) != 0) {
        target = "#" + idOf(look.bookmark);
    }
    bytes_ += target.size();
    return bytes_ <= kMostLinkBytes ? target : std::string();
}

std::string Links::idFor(std::string_view bookmark) {
    const auto found = bookmarks_.find(bookmark);
    return found == bookmarks_.end() || std::exchange(found->second, true) ? std::string() : idOf(bookmark);
}

std::pair<std::string, std::string> Links::noteOf(const XmlNode& node) {
    const std::string name = nameOfNote(node);
    if (!notes_->has(name)) {
        return {};
    }
    const bool isFirst = shownNotes_.insert(name).second;
    auto [id, place] = idsOfNote(name);
    return {"#" + id, isFirst ? place : ""};
}

std::pair<std::string, std::string> Links::idsOfNote(const std::string& name) const {
    const std::string id = "note-" + idWith(name);
    return {id, shownNotes_.count(name) == 0 ? "" : "to-" + id};
}

std::vector<std::string> Links::idsLeft() const {
    std::vector<std::string> ids;
    for (const auto& [name, isWritten] : bookmarks_) {
        if (!isWritten) {
            ids.push_back(idOf(name));
        }
    }
    return ids;
}

}  // namespace flowbook::kit
