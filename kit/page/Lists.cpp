#include "kit/page/Lists.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>

namespace flowbook::kit {

namespace {

constexpr std::size_t kDeepest = 8;
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
    const char last = style.back();
    const std::size_t level = last >= '2' && last <= '9' ? static_cast<std::size_t>(last - '1') : 0;
    return ListItem{isOrdered ? "number" : "bullet", level, isOrdered, "", 1};
}

/// The attribute `type` of a list for a format of numbers; empty for decimal ones.
std::string_view listTypeOf(std::string_view format) {
    return format == "lowerLetter"   ? "a"
           : format == "upperLetter" ? "A"
           : format == "lowerRoman"  ? "i"
           : format == "upperRoman"  ? "I"
                                     : "";
}

}  // namespace

Numbering::Numbering(const XmlNode* part) {
    if (part == nullptr) {
        return;
    }
    std::map<std::string_view, Levels> abstract;
    for (const XmlNode& node : part->children) {
        if (node.local == "abstractNum") {
            readLevels(node, abstract[node.attribute("abstractNumId")]);
        }
    }
    for (const XmlNode& node : part->children) {
        if (node.local == "num") {
            const std::string id(node.attribute("numId"));
            const std::string_view kind = node.valueOf("abstractNumId");
            const bool countsAlone = node.child("lvlOverride") != nullptr;
            List& list = lists_[id];
            list = {countsAlone ? id : "kind " + std::string(kind), abstract[kind]};
            readLevels(node, list.levels);
        }
    }
}

/// The levels of an abstract list, or what a list changes in them.
void Numbering::readLevels(const XmlNode& from, Levels& levels) {
    for (const XmlNode& node : from.children) {
        Level& level = levels[std::string(node.attribute("ilvl"))];
        if (node.local == "lvl") {
            level = {std::string(node.valueOf("numFmt")), numberIn(node.valueOf("start"), 1)};
        } else if (node.local == "lvlOverride") {
            readLevels(node, levels);
            level.start = numberIn(node.valueOf("startOverride"), level.start);
        }
    }
}

std::optional<ListItem> Numbering::itemOf(const XmlNode& paragraph) const {
    const XmlNode* const properties = paragraph.child("pPr");
    if (properties == nullptr) {
        return std::nullopt;
    }
    const std::optional<ListItem> ofStyle = itemOfStyle(properties->valueOf("pStyle"));
    const XmlNode* const numbering = properties->child("numPr");
    if (numbering == nullptr) {
        return ofStyle;
    }
    const std::string id(numbering->valueOf("numId"));
    const std::string level(numbering->valueOf("ilvl"));
    if (id == "0") {
        return std::nullopt;
    }
    ListItem item{id, std::min<std::size_t>(numberIn(level, 0), kDeepest), ofStyle && ofStyle->isOrdered, "", 1};
    const auto list = lists_.find(id);
    if (list != lists_.end()) {
        const auto found = list->second.levels.find(level.empty() ? "0" : level);
        const Level known = found == list->second.levels.end() ? Level() : found->second;
        item.list = list->second.counter;
        item.isOrdered = known.format != "bullet" && known.format != "none";
        item.format = known.format;
        item.start = known.start;
    }
    return item;
}

void OpenLists::beginItem(Markup& out, const ListItem& item) {
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
    while (open_.size() <= item.level) {
        const bool isOfItem = open_.size() == item.level;
        beginList(out, item, isOfItem);
        if (!isOfItem) {
            out.open("li", {{"class", "level"}});
        }
    }
    auto& counts = (*counts_)[item.list];
    const unsigned number = item.start + counts[item.level]++;
    std::fill(counts.begin() + static_cast<std::ptrdiff_t>(item.level) + 1, counts.end(), 0U);
    const bool isNext = !item.isOrdered || open_.back().next == number;
    isNext ? out.open("li") : out.open("li", {{"value", std::to_string(number)}});
    open_.back().next = number + 1;
}

/// A list that only leads to a deeper one has no marks.
void OpenLists::beginList(Markup& out, const ListItem& item, bool isOfItem) {
    open_.push_back({item.list, isOfItem && item.isOrdered});
    if (!open_.back().isOrdered) {
        out.open("ul");
        return;
    }
    open_.back().next = item.start + (*counts_)[item.list][item.level];
    const std::string start = std::to_string(open_.back().next);
    const std::string_view type = listTypeOf(item.format);
    type.empty() ? out.open("ol", {{"start", start}}) : out.open("ol", {{"start", start}, {"type", type}});
}

void OpenLists::finish(Markup& out) {
    for (; !open_.empty(); open_.pop_back()) {
        out.close().close();
    }
}

}  // namespace flowbook::kit
