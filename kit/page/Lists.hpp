#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Markup.hpp"

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// What a paragraph says of itself as an item of a list.
struct ListItem {
    std::string list;       ///< what it is counted by: its kind of list; or the name of its style
    std::size_t level = 0;  ///< 0 to 8
    bool isOrdered = false;
    std::string format;  ///< such as "lowerLetter"; empty for decimal numbers
    unsigned start = 1;  ///< the number of the first item
};

/// The kinds of lists that a document's numbering part defines (ECMA-376-1, part 1, 17.9).
class Numbering {
public:
    /// @param part  the root of the numbering part; null when there is none.
    explicit Numbering(const XmlNode* part);

    /// Nothing for a paragraph that is no item. A list without a definition has bullets, unless its style has numbers.
    std::optional<ListItem> itemOf(const XmlNode& paragraph) const;

private:
    struct Level {
        std::string format;
        unsigned start = 1;
    };
    using Levels = std::map<std::string, Level>;

    struct List {
        std::string counter;  ///< the same for lists whose items are counted together
        Levels levels;
    };

    static void readLevels(const XmlNode& from, Levels& levels);

    std::map<std::string, List> lists_;  ///< by the id of the numbering
};

/// How many items there were so far, by list and level: a list goes on in the cells of a table, and behind it.
using ItemCounts = std::map<std::string, std::array<unsigned, 9>>;

/// The lists that are open in one place of a page.
class OpenLists {
public:
    /// @param counts  of the whole document.
    explicit OpenLists(ItemCounts& counts) : counts_(&counts) {}

    /// Ends and begins lists, so that the item can be written; it stays open.
    void beginItem(Markup& out, const ListItem& item);

    /// Ends all lists.
    void finish(Markup& out);

private:
    struct Open {
        std::string list;
        bool isOrdered;
        unsigned next = 0;  ///< the number that the next item has by itself
    };

    void beginList(Markup& out, const ListItem& item, bool isOfItem);

    std::vector<Open> open_;
    ItemCounts* counts_;
};

}  // namespace flowbook::kit
