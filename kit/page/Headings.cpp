#include "kit/page/Headings.hpp"

#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace flowbook::kit {

namespace {

constexpr Markup::Name kElements[] = {"h1", "h2", "h3", "h4", "h5", "h6"};
constexpr std::size_t kLongestId = 40;
constexpr std::size_t kLongestEntry = 200;
constexpr std::size_t kMostEntries = 2000;

/// Letters and digits of a heading, for its address.
std::string slugOf(const std::string& text) {
    std::string slug;
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0 && static_cast<unsigned char>(c) < 0x80) {
            slug += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        } else if (!slug.empty() && slug.back() != '-') {
            slug += '-';
        }
    }
    slug = slug.substr(0, std::min(slug.find_last_not_of('-') + 1, kLongestId));
    return "section" + (slug.empty() ? "" : "-" + slug);
}

/// Ends the entries of the outline that are at a level or below it, and begins the lists that lead to it.
void beginEntry(Markup& out, std::size_t& depth, std::size_t level) {
    for (; depth > level; --depth) {
        out.close().close();
    }
    if (depth == level) {
        out.close();
    } else {
        out.open("ul");
        ++depth;
    }
}

}  // namespace

/// A style is as deep as its rank among the styles of the page, unless that is two deeper than a heading before it:
/// then it is lowered, which may lower others in turn.
Headings::Headings(const std::vector<int>& styles) {
    std::set<std::pair<int, int>> neighbours;
    for (std::size_t i = 0; i < styles.size(); ++i) {
        levels_[styles[i]];
        neighbours.emplace(i == 0 ? 0 : styles[i - 1], styles[i]);
    }
    std::size_t rank = 0;
    for (auto& [style, level] : levels_) {
        level = std::min(++rank, std::size(kElements) - 1);
    }
    levels_[0] = 0;
    for (bool isStable = false; !isStable;) {
        isStable = true;
        for (const auto& [before, style] : neighbours) {
            const std::size_t most = levels_[before] + 1;
            isStable = isStable && levels_[style] <= most;
            levels_[style] = std::min(levels_[style], most);
        }
    }
}

/// The id is made of the text alone, so that it stays while headings with other texts come, go and are renumbered.
void Headings::open(Markup& out, int style, const std::string& label, const std::string& text) {
    const auto known = levels_.find(style);
    const std::size_t level = known == levels_.end() ? std::size(kElements) - 1 : known->second;
    const std::string slug = slugOf(text);
    std::string id = slug;
    for (std::size_t& last = repeats_.try_emplace(slug, 1).first->second; !ids_.insert(id).second;) {
        id = slug + "-" + std::to_string(++last);
    }
    out.open(kElements[level], {{"id", id}, {"dir", "auto"}});
    if (!label.empty()) {
        out.element("span", {{"class", "label"}}, label).text(" ");
    }
    headings_.push_back({level, std::move(id), label.empty() ? text : label + " " + text});
}

void Headings::writeOutline(Markup& out) const {
    if (headings_.empty()) {
        return;
    }
    out.open("nav", {{"class", "outline"}, {"aria-labelledby", "outline"}, {"lang", "en"}});
    out.element("h2", {{"id", "outline"}}, "Contents");
    std::size_t depth = 0;
    std::size_t count = 0;
    for (const Heading& heading : headings_) {
        if (++count > kMostEntries) {
            break;
        }
        beginEntry(out, depth, heading.level);
        const std::string_view start = startOf(heading.text, kLongestEntry);
        const std::string entry = std::string(start) + (start.size() < heading.text.size() ? "\u2026" : "");
        out.open("li").element("a", {{"href", "#" + heading.id}, {"dir", "auto"}}, entry);
    }
    for (; depth > 0; --depth) {
        out.close().close();
    }
    if (headings_.size() > kMostEntries) {
        out.element("p", counted(headings_.size() - kMostEntries, "more heading"));
    }
    out.close();
}

}  // namespace flowbook::kit
