// The order of a merge, and its relationships. A merge decides first and writes last: names and ids are given when all
// parts of the result are known, as only then it is clear which of them clash. Code comes before outputs, because
// outputs follow the side whose code was taken.
#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/compare/Merger.hpp"

#include <algorithm>
#include <tuple>
#include <utility>

namespace flowbook::kit {

using fl::i18n::to_string;

Merger::Merger(const Document* base, const Document& ours, const Document& theirs, const MergeOptions& options)
    : options_(options), ours_(ours), theirs_(theirs) {
    if (base != nullptr) {
        base_.emplace(*base);
    } else {
        base_.emplace();
    }
}

MergeResult Merger::run() {
    const auto links = matchPackageLinks(*base_, ours_, theirs_);
    for (const auto& [role, trio] : links) {
        if (role == Role::Code) {
            mergeCodeLink(trio);
        }
    }
    for (const auto& [role, trio] : links) {
        if (role == Role::Output) {
            mergeOutputs(trio);
        } else if (role != Role::Code) {
            decide(trio, result_.links());
        }
    }
    mergeUnreached();
    finishParts();
    finishLateLinks();
    mergeOthers();
    return finish();
}

const Version& Merger::version(std::size_t which) const {
    return which == kBase ? *base_ : which == kOurs ? ours_ : theirs_;
}

void Merger::addConflict(MergeConflict conflict, std::size_t part, std::size_t about,
                         std::optional<std::size_t> deleter) {
    if (options_.favour == Favour::None) {
        conflicts_.push_back({std::move(conflict), part, about, deleter});
    }
}

void Merger::decide(const LinkTrio& trio, std::vector<MergedLink>& links, bool isAlone) {
    const Choice choice = choose(leadsTo(trio[kBase]), leadsTo(trio[kOurs]), leadsTo(trio[kTheirs]));
    if (choice != Choice::Conflict) {
        const std::size_t side = choice == Choice::Ours ? kOurs : kTheirs;
        if (trio[side] != nullptr && !isAlone && isNewTo(trio, side)) {
            links.push_back({trio[side]->record, kNoPart, trio[side], targetsOf(trio)});
        } else if (trio[side] != nullptr) {
            addLink(trio, side, links);
        }
    } else if (trio[kOurs] == nullptr || trio[kTheirs] == nullptr) {
        settleDeletion(trio, links);
        // Both lead to a part: the relationship stays, and the contents of the parts are merged.
    } else if (trio[kOurs]->target != nullptr && trio[kTheirs]->target != nullptr) {
        addLink(trio, kOurs, links);
    } else {
        settleTargets(trio, links);
    }
}

void Merger::addLink(const LinkTrio& trio, std::size_t side, std::vector<MergedLink>& links) {
    Trio targets = targetsOf(trio);
    if (trio[kOurs] == nullptr || trio[kTheirs] == nullptr) {
        targets[kBase] = nullptr;  // The one side that has it is not to be changed by what the other lacks.
    }
    const bool hasPart = trio[side]->target != nullptr;  // Under the same id the other may lead to a part.
    const Link& link = *trio[writingVersion(trio, side)];
    links.push_back({link.record, hasPart ? partOf(targets) : kNoPart, &link});
    if (hasPart && targets[kOurs] != nullptr && targets[kTheirs] != nullptr) {
        homes_.emplace(targets[kOurs], links.back().part);
        homes_.emplace(targets[kTheirs], links.back().part);
    }
}

bool Merger::isNewTo(const LinkTrio& trio, std::size_t side) {
    const Link* const other = trio[side == kOurs ? kTheirs : kOurs];
    const Node* const target = trio[side]->target;
    return target != nullptr && !isPicture(*trio[side]) &&
           (other == nullptr ||
            (other->target != nullptr && other->target->name != target->name && other->leadsTo != trio[side]->leadsTo));
}

void Merger::finishLateLinks() {
    for (std::size_t source = 0; source <= result_.size(); ++source) {  // The result grows meanwhile.
        const auto links = [&]() -> std::vector<MergedLink>& {
            return source == 0 ? result_.links() : result_.at(source - 1).links;
        };
        for (std::size_t i = 0; i < links().size(); ++i) {
            if (const auto targets = std::exchange(links()[i].late, std::nullopt)) {
                const auto home = homes_.find(links()[i].from->target);
                const std::size_t part = home == homes_.end() ? partOf(*targets) : home->second;
                links()[i].part = part;
                finishParts();
            }
        }
    }
}

std::size_t Merger::writingVersion(const LinkTrio& trio, std::size_t side) {
    const std::size_t other = side == kOurs ? kTheirs : kOurs;
    if (trio[other] == nullptr || trio[other]->leadsTo != trio[side]->leadsTo) {
        return side;
    }
    // Of two ways to write the same, the one that a side has changed counts, as its other files may use it.
    const auto written = [](const Link& link) { return std::tie(link.record.id, link.record.target); };
    const bool isOld = trio[kBase] != nullptr && written(*trio[kBase]) == written(*trio[kOurs]);
    return isOld ? kTheirs : kOurs;
}

void Merger::settleDeletion(const LinkTrio& trio, std::vector<MergedLink>& links) {
    const std::size_t keeper = trio[kOurs] != nullptr ? kOurs : kTheirs;
    if (options_.favour != Favour::None && favoured() != keeper) {
        return;
    }
    addLink(only(keeper, trio[keeper]), keeper, links);
    if (options_.favour == Favour::None) {
        links.back().of = keeper;
    }
}

std::string Merger::deletionIn(std::size_t keeper) {
    return std::string(keeper == kOurs ? "theirs" : "ours") + " deleted it; kept as the other changed it";
}

void Merger::settleTargets(const LinkTrio& trio, std::vector<MergedLink>& links) {
    addLink(only(favoured(), trio[favoured()]), favoured(), links);
    if (options_.favour != Favour::None) {
        return;
    }
    links.back().of = kOurs;
    const std::size_t ours = links.size() - 1;
    addLink(only(kTheirs, trio[kTheirs]), kTheirs, links);
    MergedLink& theirs = links.back();
    // Both had the same id. Ours keeps it, since the text of ours refers to it; theirs gets a free one at the end.
    theirs.record.id.clear();
    theirs.of = kTheirs;
    theirs.base = trio[kBase];
    theirs.rival = ours;
}

MergeResult Merger::finish() {
    planLists();
    result_.giveNames();
    MergedPackage::giveIds(result_.links());
    fillLists();
    std::set<std::size_t> deleted;
    forEachSource([&](const std::string& source, const std::vector<MergedLink>& links) {
        addLinkConflicts(source, links, deleted);
    });
    addEntryConflicts();
    MergeResult result;
    for (FoundConflict& found : conflicts_) {
        if (found.part != kNoPart) {
            found.conflict.words += to_string(result_.at(found.part).name);
        }
        if (found.about != kNoPart) {
            found.conflict.what = to_string(result_.at(found.about).name);
        }
        result.conflicts.push_back(std::move(found.conflict));
    }
    result.notes = std::move(notes_);
    result.flowbook = result_.write();
    return result;
}

void Merger::addLinkConflicts(const std::string& source, const std::vector<MergedLink>& links,
                              std::set<std::size_t>& deleted) {
    const auto targetOf = [](const Link* link) {
        return link == nullptr ? std::nullopt : std::make_optional(to_string(link->record.target));
    };
    std::set<std::size_t> rivals;
    for (const MergedLink& link : links) {
        rivals.insert(link.rival);
    }
    for (std::size_t i = 0; i < links.size(); ++i) {
        const MergedLink& link = links[i];
        const bool isReported = link.isWithCode || rivals.count(i) != 0 || (link.part != kNoPart && link.part == code_);
        if (!link.of || isReported) {
            continue;
        }
        const std::string what = "relationship " + source + "#" + to_string(link.record.id);
        if (link.rival != kNoPart) {
            const auto ours = targetOf(links[link.rival].from), theirs = targetOf(link.from);
            addConflict({ConflictKind::Relationship,
                         "relationship " + source + "#" + to_string(links[link.rival].record.id),
                         "ours leads to " + *ours + ", theirs to " + *theirs + "; both are kept", targetOf(link.base),
                         ours, theirs});
        } else if (link.part == kNoPart) {
            addConflict({ConflictKind::Relationship, what, deletionIn(*link.of)});
        } else if (deleted.insert(link.part).second) {
            addConflict({ConflictKind::Part, "", deletionIn(*link.of)}, kNoPart, link.part);
        }
    }
}

void Merger::addEntryConflicts() {
    for (const MergedEntry& entry : result_.entries()) {
        if (entry.isBeside) {
            addConflict({ConflictKind::Entry, "entry " + entry.wanted,
                         "kept as ours has it; theirs is added as " + entry.name});
        } else if (entry.deleter) {
            addConflict(
                {ConflictKind::Entry, "entry " + entry.name, deletionIn(*entry.deleter == kOurs ? kTheirs : kOurs)});
        } else if (entry.name != entry.wanted) {
            notes_.push_back("entry " + entry.wanted + ": kept as " + entry.name + ", as a part has its name");
        }
    }
}

const char* nameOf(ConflictKind kind) {
    constexpr const char* kNames[] = {"code", "property", "part", "relationship", "entry"};
    return kNames[static_cast<std::size_t>(kind)];
}

MergeResult merge(const Document* base, const Document& ours, const Document& theirs, const MergeOptions& options) {
    return Merger(base, ours, theirs, options).run();
}

}  // namespace flowbook::kit
