#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Markup.hpp"
#include "kit/page/Styles.hpp"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// What a list says of its items of one level.
struct ListLevel {
    std::string format;                   ///< such as "lowerLetter"; empty for decimal numbers
    unsigned start = 1;                   ///< the number of the first item
    std::optional<std::string> text;      ///< of the label, in which %1 stands for the number of the first level
    std::optional<std::size_t> restarts;  ///< behind an item of this level, from 1, or above; 0 for never
    bool isLegal = false;                 ///< whether the label has decimal numbers alone
    std::string style;                    ///< of paragraphs that are items of this level
};

constexpr std::size_t kListLevels = 9;
using ListLevels = std::array<ListLevel, kListLevels>;

/// What a paragraph says of itself as an item of a list.
struct ListItem {
    std::string list;  ///< what it is counted by: its kind of list; or the name of its style
    std::size_t level = 0;
    bool isOrdered = false;
    const ListLevels* levels = nullptr;  ///< null when nothing defines the list

    unsigned start() const { return levels == nullptr ? 1 : (*levels)[level].start; }
};

/// The kinds of lists that a document's numbering part defines (ECMA-376-1, part 1, 17.9). A list is looked at when an
/// item is of it, as a part may define a million. Used by one thread at a time.
class Numbering {
public:
    /// @param part  the root of the numbering part; null when there is none. @param styles  both must outlive this
    /// object.
    Numbering(const XmlNode* part, const Styles& styles);
    Numbering(const Numbering&) = delete;
    Numbering& operator=(const Numbering&) = delete;
    ~Numbering() = default;

    /// Nothing for a paragraph that is no item. A list without a definition has bullets, unless its style has numbers.
    /// The item is good as long as this object.
    std::optional<ListItem> itemOf(const XmlNode& paragraph) const;

private:
    struct List {
        std::string counter;  ///< the same for lists whose items are counted together
        std::shared_ptr<const ListLevels> levels;
    };

    using ById = std::map<std::string_view, const XmlNode*>;

    const List* listOf(const std::string& id) const;
    std::string_view kindOf(const XmlNode& list) const;
    static std::shared_ptr<const ListLevels> levelsOf(const XmlNode* node, const ListLevels& base);
    static void readLevels(const XmlNode& from, ListLevels& levels);

    const Styles* styles_;
    ById kinds_;  ///< abstract lists
    ById lists_;
    mutable std::map<std::string, List> used_;  ///< lists that items are of, by their ids
    mutable std::map<std::string_view, std::shared_ptr<const ListLevels>> levels_;  ///< of the abstract ones of these
};

/// How many items there were so far, by list and level: a list goes on in the cells of a table, and behind it.
class ItemCounts {
public:
    struct Counted {
        unsigned number;
        std::string label;  ///< as the document writes it; may be empty
        bool isUsual;       ///< whether the label is what a browser shows for an item by itself
    };

    Counted next(const ListItem& item);

private:
    using Counts = std::array<unsigned, kListLevels>;

    static std::string labelOf(const ListItem& item, const Counts& counts);

    std::map<std::string, Counts> counts_;
};

/// The lists that are open in one place of a page.
class OpenLists {
public:
    /// Ends and begins lists, so that the item can be written; it stays open.
    void beginItem(Markup& out, const ListItem& item, const ItemCounts::Counted& counted);

    /// Ends all lists.
    void finish(Markup& out);

private:
    struct Open {
        std::string list;
        bool isOrdered;
        unsigned next = 0;  ///< the number that the next item has by itself
    };

    void endBefore(Markup& out, const ListItem& item);
    void beginList(Markup& out, const ListItem& item, unsigned number, bool isOfItem);

    std::vector<Open> open_;
};

}  // namespace flowbook::kit
