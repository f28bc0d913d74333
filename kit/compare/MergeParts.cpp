// What becomes of the parts. A part is planned once for each combination of versions that leads to it, so two
// relationships to one part lead to one part again, and cycles of relationships come to an end.
#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Merger.hpp"

#include <algorithm>
#include <iterator>
#include <set>

namespace flowbook::kit {

using fl::i18n::to_string;
using fl::i18n::to_ustring;

namespace {

/// The version whose name for a thing counts; both sides may have given it another one.
std::size_t namingVersion(const Trio& trio) {
    if (trio[kOurs] == nullptr || trio[kTheirs] == nullptr) {
        return trio[kOurs] != nullptr ? kOurs : kTheirs;
    }
    return trio[kBase] != nullptr && chooseBy(trio, &Node::name) == Choice::Theirs ? kTheirs : kOurs;
}

}  // namespace

std::size_t Merger::partOf(const Trio& trio) {
    // Another relationship to the code leads to the merged code too, not to a version of it.
    const bool isCode = (trio[kOurs] != nullptr && trio[kOurs] == ours_.code()) ||
                        (trio[kTheirs] != nullptr && trio[kTheirs] == theirs_.code());
    if (isCode && code_ != kNoPart) {
        return code_;
    }
    const auto known = parts_.find(trio);
    return known != parts_.end() ? known->second : parts_[trio] = plan(trio);
}

std::size_t Merger::plan(const Trio& trio) {
    if (const auto properties = planProperties(trio)) {
        return *properties;
    }
    // First by all that the parts lead to in turn; if that is in conflict, by their own bytes, as a change below a part
    // is merged where it was made.
    Choice choice = trio[kTheirs] == nullptr ? Choice::Ours
                    : trio[kOurs] == nullptr ? Choice::Theirs
                                             : chooseBy(trio, &Node::deep);
    if (choice == Choice::Conflict) {
        choice = chooseBy(trio, &Node::own);
        return choice == Choice::Conflict ? planConflict(trio) : planPart(trio, choice, false);
    }
    return planPart(trio, choice, true);
}

MergedPart Merger::named(const Trio& trio) const {
    const std::size_t naming = namingVersion(trio);
    MergedPart part;
    part.name = nameOf(*trio[naming]);
    part.isOfOurs = trio[kOurs] != nullptr && trio[kOurs]->name == trio[naming]->name;
    return part;
}

void Merger::fill(MergedPart& part, const Node& node) {
    part.node = &node;
    part.contentType = node.contentType;
}

std::size_t Merger::planPart(const Trio& trio, Choice choice, bool isWhole) {
    const Node& node = *trio[choice == Choice::Ours ? kOurs : kTheirs];
    MergedPart part = named(trio);
    fill(part, node);
    // Equal parts that several relationships of a side lead to become one, as they were before.
    const auto key = std::make_pair(opc::model::PartName(part.name).folded(), node.deep);
    const auto same = isWhole ? whole_.find(key) : whole_.end();
    const auto known = isWhole ? wholeNodes_.find(&node) : wholeNodes_.end();
    if (known != wholeNodes_.end() || same != whole_.end()) {
        return known != wholeNodes_.end() ? known->second : same->second;
    }
    const std::size_t index = result_.add(std::move(part));
    if (isWhole) {
        whole_.emplace(key, index);
        wholeNodes_.emplace(&node, index);
    }
    open_.push_back({index, {linksOf(trio[kBase]), linksOf(trio[kOurs]), linksOf(trio[kTheirs])}});
    return index;
}

std::size_t Merger::planConflict(const Trio& trio) {
    const std::size_t index = planAlone(favoured(), trio[favoured()], named(trio));
    if (options_.favour == Favour::None) {
        const std::size_t beside = addBeside(index, *trio[kTheirs]);
        addConflict({ConflictKind::Part, "", "kept as ours has it; theirs is added as "}, beside, index);
    }
    return index;
}

std::size_t Merger::planAlone(std::size_t side, const Node* node, MergedPart part) {
    fill(part, *node);
    const std::size_t index = result_.add(std::move(part));
    LinkLists lists;
    lists[side] = linksOf(node);
    open_.push_back({index, std::move(lists), true});
    return index;
}

std::size_t Merger::addBeside(std::size_t index, const Node& theirs) {
    MergedPart part;
    part.beside = index;
    const std::size_t beside = planAlone(kTheirs, &theirs, std::move(part));
    result_.at(index).alternative = beside;
    return beside;
}

void Merger::finishParts() {
    while (!open_.empty()) {
        const Open open = std::move(open_.back());
        open_.pop_back();
        std::vector<MergedLink> links;
        for (const LinkTrio& trio : matchById(open.links)) {
            decide(trio, links, open.isAlone);
        }
        MergedPackage::giveIds(links);
        result_.at(open.part).links = std::move(links);
    }
}

void Merger::mergeUnreached() {
    std::map<std::string, Trio> all;
    for (const std::size_t i : {kBase, kOurs, kTheirs}) {
        for (const Node* node : version(i).unreached()) {
            all[node->name][i] = node;
        }
    }
    for (const auto& [name, trio] : all) {
        // No relationship says which parts belong together here, so their names do.
        const Choice choice = chooseBy(trio, &Node::deep);
        const Node* const chosen = trio[choice == Choice::Ours ? kOurs : kTheirs];
        const bool isDeletion = trio[kOurs] == nullptr || trio[kTheirs] == nullptr;
        if (choice == Choice::Conflict && isDeletion) {
            const Node* const kept = trio[kOurs] != nullptr ? trio[kOurs] : trio[kTheirs];
            if (options_.favour == Favour::None || kept == trio[favoured()]) {
                const std::size_t side = kept == trio[kOurs] ? kOurs : kTheirs;
                addConflict({ConflictKind::Part, "", deletionIn(side)}, kNoPart, partOf(only(side, kept)),
                            side == kOurs ? kTheirs : kOurs);
            }
        } else if (isDeletion && chosen != nullptr) {
            partOf(only(chosen == trio[kOurs] ? kOurs : kTheirs, chosen));
        } else if (!isDeletion) {
            partOf(trio);
        }
    }
}

void Merger::mergeOthers() {
    using Others = std::map<std::string, fl::Bytes>;
    std::array<Others, 3> all;
    std::set<std::string> names;
    for (const std::size_t i : {kBase, kOurs, kTheirs}) {
        all[i] = version(i).document() == nullptr ? Others() : readOthers(*version(i).document());
        std::transform(all[i].begin(), all[i].end(), std::inserter(names, names.end()),
                       [](const Others::value_type& each) { return each.first; });
    }
    for (const std::string& name : names) {
        std::array<std::optional<fl::Bytes>, 3> contents;
        for (std::size_t i = 0; i < contents.size(); ++i) {
            const auto found = all[i].find(name);
            contents[i] = found == all[i].end() ? std::nullopt : std::make_optional(std::move(found->second));
        }
        mergeEntry(name, contents[kBase], contents[kOurs], contents[kTheirs]);
    }
}

void Merger::mergeEntry(const std::string& name, const std::optional<fl::Bytes>& base,
                        const std::optional<fl::Bytes>& ours, const std::optional<fl::Bytes>& theirs) {
    Choice choice = choose(base, ours, theirs);
    const bool isConflict = choice == Choice::Conflict && options_.favour == Favour::None;
    if (choice == Choice::Conflict) {
        const bool isTheirs = options_.favour == Favour::None ? !ours.has_value() : favoured() == kTheirs;
        choice = isTheirs ? Choice::Theirs : Choice::Ours;
    }
    const std::optional<fl::Bytes>& chosen = choice == Choice::Theirs ? theirs : ours;
    if (chosen) {
        result_.entries().push_back({name, *chosen});
    }
    if (isConflict && (!ours || !theirs)) {
        result_.entries().back().deleter = ours ? kTheirs : kOurs;
    } else if (isConflict) {
        result_.entries().push_back({name, *theirs, true});
    }
}

}  // namespace flowbook::kit
