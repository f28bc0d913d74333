#include "kit/page/Lists.hpp"

#include "kit/document/Characters.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>
#include <utility>

namespace flowbook::kit {

namespace {

constexpr std::size_t kDeepest = kListLevels - 1;
constexpr std::size_t kLongestLabel = 200;  // as any number of items may have it
constexpr unsigned kLetters = 26;
constexpr unsigned kLargestRoman = 3999;
// A larger start or restart is no one's intention, and adding to it must not overflow.
constexpr unsigned kLargest = 1000000;

unsigned numberIn(std::string_view text, unsigned otherwise) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::min(number, kLargest) : otherwise;
}

bool startsFolded(std::string_view text, std::string_view small) {
    return text.size() >= small.size() && std::equal(small.begin(), small.end(), text.begin(), [](char a, char b) {
               return a == std::tolower(static_cast<unsigned char>(b));
           });
}

/// An item by its style: "ListBullet", "List Number 2" and the like.
std::optional<ListItem> itemOfStyle(std::string_view style) {
    if (!startsFolded(style, "list")) {
        return std::nullopt;
    }
    const std::size_t kind = style.find_first_not_of(' ', 4);
    const std::string_view rest = kind == std::string_view::npos ? "" : style.substr(kind);
    const bool isOrdered = startsFolded(rest, "number");
    if (!isOrdered && !startsFolded(rest, "bullet")) {
        return std::nullopt;
    }
    // "List Bullet 2" is the second level; the first one has no number.
    const char last = style.back();
    const std::size_t level = last >= '2' && last <= '9' ? static_cast<std::size_t>(last - '1') : 0;
    return ListItem{isOrdered ? "number" : "bullet", level, isOrdered};
}

/// The attribute `type` of a list for a format of numbers; empty for decimal ones.
std::string_view listTypeOf(std::string_view format) {
    return format == "lowerLetter"   ? "a"
           : format == "upperLetter" ? "A"
           : format == "lowerRoman"  ? "i"
           : format == "upperRoman"  ? "I"
                                     : "";
}

/// "a" to "z", then "aa", "bb" and so on.
std::string letters(unsigned number, char first) {
    // As word processors count after "z"; browsers go on with "aa", "ab", so such labels are written out.
    return std::string((number - 1) / kLetters + 1, static_cast<char>(first + (number - 1) % kLetters));
}

std::string roman(unsigned number, bool isSmall) {
    constexpr std::pair<unsigned, const char*> kNumerals[] = {
        {1000, "M"}, {900, "CM"}, {500, "D"}, {400, "CD"}, {100, "C"}, {90, "XC"}, {50, "L"},
        {40, "XL"},  {10, "X"},   {9, "IX"},  {5, "V"},    {4, "IV"},  {1, "I"}};
    std::string text;
    for (const auto& [value, digits] : kNumerals) {
        for (; number >= value; number -= value) {
            text += digits;
        }
    }
    if (isSmall) {
        std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    }
    return text;
}

/// A number as a format writes it; in decimal digits where the format is not known.
std::string written(unsigned number, std::string_view format) {
    const bool isLetter =
        (format == "lowerLetter" || format == "upperLetter") && number >= 1 && number <= 100 * kLetters;
    const bool isRoman = (format == "lowerRoman" || format == "upperRoman") && number >= 1 && number <= kLargestRoman;
    return format == "none"                         ? ""
           : isLetter                               ? letters(number, format == "lowerLetter" ? 'a' : 'A')
           : isRoman                                ? roman(number, format == "lowerRoman")
           : number < 10 && format == "decimalZero" ? "0" + std::to_string(number)
                                                    : std::to_string(number);
}

bool isSet(const XmlNode& node, std::string_view name) {
    const XmlNode* const found = node.child(name);
    const std::string_view value = found == nullptr ? "0" : found->attribute("val");
    return value != "0" && value != "false" && value != "off";
}

ListLevel levelOf(const XmlNode& node) {
    ListLevel level;
    level.format = node.valueOf("numFmt");
    level.start = numberIn(node.valueOf("start"), 1);
    // An empty text is a level without a label, and not the same as none given.
    if (node.child("lvlText") != nullptr) {
        level.text = node.valueOf("lvlText");
    }
    if (node.child("lvlRestart") != nullptr) {
        level.restarts = numberIn(node.valueOf("lvlRestart"), 0);
    }
    level.isLegal = isSet(node, "isLgl");
    level.style = node.valueOf("pStyle");
    return level;
}

/// The level that names the style; where none does, the one that the style names.
std::string levelOfStyle(const ListLevels& levels, const Styles::Numbering& numbering) {
    const auto* const named = std::find_if(levels.begin(), levels.end(), [&](const ListLevel& each) {
        return !each.style.empty() && each.style == numbering.style;
    });
    return named == levels.end() ? numbering.level : std::to_string(named - levels.begin());
}

}  // namespace

Numbering::Numbering(const XmlNode* part, const Styles& styles) : styles_(&styles) {
    if (part == nullptr) {
        return;
    }
    for (const XmlNode& node : part->children) {
        if (node.local == "abstractNum") {
            kinds_.emplace(node.attribute("abstractNumId"), &node);
        } else if (node.local == "num") {
            lists_[node.attribute("numId")] = &node;
        }
    }
}

/// Null when nothing defines the list.
const Numbering::List* Numbering::listOf(const std::string& id) const {
    if (const auto known = used_.find(id); known != used_.end()) {
        return &known->second;
    }
    const auto found = lists_.find(id);
    if (found == lists_.end()) {
        return nullptr;
    }
    const XmlNode& list = *found->second;
    // Lists of one kind share its levels and its counter, so each kind is read once, were there thousands of lists.
    const std::string_view kind = kindOf(list);
    auto& shared = levels_[kind];
    if (shared == nullptr) {
        const auto definition = kinds_.find(kind);
        shared = levelsOf(definition == kinds_.end() ? nullptr : definition->second, {});
    }
    const bool isChanged = list.child("lvlOverride") != nullptr;
    return &used_
                .emplace(id, List{isChanged ? id : "kind " + std::string(kind),
                                  isChanged ? levelsOf(&list, *shared) : shared})
                .first->second;
}

/// The levels of an abstract list, or those that a list has changed. @param node  may be null.
std::shared_ptr<const ListLevels> Numbering::levelsOf(const XmlNode* node, const ListLevels& base) {
    auto levels = std::make_shared<ListLevels>(base);
    if (node != nullptr) {
        readLevels(*node, *levels);
    }
    return levels;
}

/// The abstract list that a list is of. One that only names a style is defined by the list of that style.
std::string_view Numbering::kindOf(const XmlNode& list) const {
    const std::string_view kind = list.valueOf("abstractNumId");
    const auto found = kinds_.find(kind);
    const XmlNode* const link = found == kinds_.end() ? nullptr : found->second->child("numStyleLink");
    const auto linked = link == nullptr ? std::nullopt : styles_->numberingOf(link->attribute("val"));
    const auto other = linked ? lists_.find(linked->list) : lists_.end();
    return other == lists_.end() ? kind : other->second->valueOf("abstractNumId");
}

void Numbering::readLevels(const XmlNode& from, ListLevels& levels) {
    for (const XmlNode& node : from.children) {
        const unsigned number = numberIn(node.attribute("ilvl"), 0);
        if (number >= kListLevels) {
            continue;
        }
        if (node.local == "lvl") {
            levels[number] = levelOf(node);
        } else if (node.local == "lvlOverride") {
            // An override may hold a whole level, a new start, or both; the new start counts in any case.
            readLevels(node, levels);
            levels[number].start = numberIn(node.valueOf("startOverride"), levels[number].start);
        }
    }
}

std::optional<ListItem> Numbering::itemOf(const XmlNode& paragraph) const {
    const XmlNode* const properties = paragraph.child("pPr");
    if (properties == nullptr) {
        return std::nullopt;
    }
    const std::string_view style = properties->valueOf("pStyle");
    const XmlNode* const own = properties->child("numPr");
    const auto ofStyle = styles_->numberingOf(style);
    std::string id(own == nullptr ? "" : own->valueOf("numId"));
    std::string level(own == nullptr ? "" : own->valueOf("ilvl"));
    id = id.empty() && ofStyle ? ofStyle->list : id;
    const std::optional<ListItem> byName = itemOfStyle(style);
    // The id 0 takes a paragraph out of the list that its style would put it into (ECMA-376-1, part 1, 17.9.18).
    if (id == "0" || (own == nullptr && id.empty())) {
        return id == "0" ? std::nullopt : byName;
    }
    const List* const list = listOf(id);
    if (list == nullptr) {
        return ListItem{id, std::min<std::size_t>(numberIn(level, 0), kDeepest), byName && byName->isOrdered};
    }
    const ListLevels& levels = *list->levels;
    level = level.empty() && ofStyle ? levelOfStyle(levels, *ofStyle) : level;
    ListItem item{list->counter, std::min<std::size_t>(numberIn(level, 0), kDeepest), false, &levels};
    const std::string& format = levels[item.level].format;
    item.isOrdered = format != "bullet" && format != "none";
    return item;
}

ItemCounts::Counted ItemCounts::next(const ListItem& item) {
    Counts& counts = counts_[item.list];
    const unsigned number = item.start() + counts[item.level]++;
    // Deeper levels begin anew after an item, unless they say after which levels they do, or that they never do (0).
    for (std::size_t deeper = item.level + 1; deeper < counts.size(); ++deeper) {
        const auto restarts = item.levels == nullptr ? std::nullopt : (*item.levels)[deeper].restarts;
        counts[deeper] = !restarts || item.level + 1 <= *restarts ? 0 : counts[deeper];
    }
    const ListLevel* const level = item.levels == nullptr ? nullptr : &(*item.levels)[item.level];
    if (level == nullptr || (level->format != "none" && (!item.isOrdered || !level->text))) {
        return {number, item.isOrdered ? std::to_string(number) + "." : "", true};
    }
    const std::string label = labelOf(item, counts);
    // A browser's own mark is used only if it would be the same, since copying and speech then treat it as a mark.
    const bool isBeyondLetters = endsWith(level->format, "Letter") && number > kLetters;
    return {number, label,
            level->format != "none" && !isBeyondLetters && label == written(number, level->format) + "."};
}

/// The text of the level with the numbers in it. A level that had no item yet is at its start.
std::string ItemCounts::labelOf(const ListItem& item, const Counts& counts) {
    const ListLevel& own = (*item.levels)[item.level];
    static const std::string& none = *new std::string;
    const std::string& text = own.text ? *own.text : none;
    std::string label;
    for (std::size_t i = 0; i < text.size() && label.size() < kLongestLabel; ++i) {
        const bool isNumber = text[i] == '%' && i + 1 < text.size() && text[i + 1] >= '1' && text[i + 1] <= '9';
        if (!isNumber) {
            label += text[i];
            continue;
        }
        const auto number = static_cast<std::size_t>(text[++i] - '1');
        const ListLevel& level = (*item.levels)[number];
        const unsigned count = counts[number] == 0 ? 0 : counts[number] - 1;
        label += written(level.start + count, own.isLegal && level.format != "none" ? "decimal" : level.format);
    }
    return label;
}

/// Ends the deeper lists, a list of another kind at the level of the item, and the item before it.
void OpenLists::endBefore(Markup& out, const ListItem& item) {
    while (open_.size() > item.level + 1) {
        out.close().close();
        open_.pop_back();
    }
    const bool isOther =
        open_.size() == item.level + 1 && (open_.back().list != item.list || open_.back().isOrdered != item.isOrdered);
    if (isOther) {
        out.close().close();
        open_.pop_back();
    }
    if (open_.size() == item.level + 1) {
        out.close();
    }
}

void OpenLists::beginItem(Markup& out, const ListItem& item, const ItemCounts::Counted& counted) {
    endBefore(out, item);
    while (open_.size() <= item.level) {
        const bool isOfItem = open_.size() == item.level;
        beginList(out, item, counted.number, isOfItem);
        if (!isOfItem) {
            out.open("li", {{"class", "level"}});
        }
    }
    const bool isNext = !item.isOrdered || open_.back().next == counted.number;
    const std::string number = std::to_string(counted.number);
    if (counted.isUsual) {
        isNext ? out.open("li") : out.open("li", {{"value", number}});
    } else {
        isNext ? out.open("li", {{"class", "labelled"}}) : out.open("li", {{"class", "labelled"}, {"value", number}});
        if (!isBlankText(counted.label)) {
            out.element("span", {{"class", "label"}}, counted.label);
        }
    }
    open_.back().next = counted.number + 1;
}

/// A list that only leads to a deeper one has no marks.
void OpenLists::beginList(Markup& out, const ListItem& item, unsigned number, bool isOfItem) {
    open_.push_back({item.list, isOfItem && item.isOrdered, number});
    if (!open_.back().isOrdered) {
        out.open("ul");
        return;
    }
    const std::string start = std::to_string(number);
    const std::string_view type =
        item.levels == nullptr ? std::string_view() : listTypeOf((*item.levels)[item.level].format);
    type.empty() ? out.open("ol", {{"start", start}}) : out.open("ol", {{"start", start}, {"type", type}});
}

void OpenLists::finish(Markup& out) {
    for (; !open_.empty(); open_.pop_back()) {
        out.close().close();
    }
}

}  // namespace flowbook::kit
