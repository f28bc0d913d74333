#include "kit/compare/Merge.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/CodeMerge.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/compare/MergedPackage.hpp"
#include "kit/compare/PropertyMerge.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <boost/json.hpp>
#include <set>
#include <tuple>

namespace flowbook::kit {

using fl::i18n::to_string;
using fl::i18n::to_ustring;

namespace {

std::optional<std::string> leadsTo(const Link* link) {
    return link == nullptr ? std::nullopt : std::make_optional(link->leadsTo);
}

template <class Value>
std::optional<Value> valueIn(const Node* node, Value Node::*member) {
    return node == nullptr ? std::nullopt : std::make_optional(node->*member);
}

template <class Value>
Choice chooseBy(const Trio& trio, Value Node::*member) {
    return choose(valueIn(trio[kBase], member), valueIn(trio[kOurs], member), valueIn(trio[kTheirs], member));
}

std::u16string nameOf(const Node& node) { return node.part.getName().toString(); }

Trio targetsOf(const LinkTrio& links) {
    Trio trio{};
    for (std::size_t i = 0; i < trio.size(); ++i) {
        trio[i] = links[i] == nullptr ? nullptr : links[i]->target;
    }
    return trio;
}

template <class Pointer>
std::array<Pointer, 3> only(std::size_t version, Pointer pointer) {
    std::array<Pointer, 3> trio{};
    trio[version] = pointer;
    return trio;
}

/// The version whose name for a thing counts; both sides may have given it another one.
std::size_t namingVersion(const Trio& trio) {
    if (trio[kOurs] == nullptr || trio[kTheirs] == nullptr) {
        return trio[kOurs] != nullptr ? kOurs : kTheirs;
    }
    return trio[kBase] != nullptr && chooseBy(trio, &Node::name) == Choice::Theirs ? kTheirs : kOurs;
}

/// "/x/image-theirs1.png" for "/x/image.png".
std::u16string besideName(const std::u16string& part) {
    const std::string name = to_string(part);
    const std::size_t last = name.rfind('.');
    const std::size_t dot = last != std::string::npos && last > name.rfind('/') ? last : name.size();
    return to_ustring(name.substr(0, dot) + "-theirs1" + name.substr(dot));
}

/// The lines of code of a document, without its prose; nothing of one that cannot be read.
std::optional<std::string> codeIn(const fl::Bytes& document) {
    const RichText text = readRichText(document, "");
    std::string code;
    for (const Paragraph& paragraph : text.paragraphs) {
        code += paragraph.code ? *paragraph.code + "\n" : "";
    }
    return text.fault.empty() ? std::make_optional(code) : std::nullopt;
}

std::string modifiedTime(const Document& document) {
    for (const Property& property : document.properties()) {
        if (property.label == "modified") {
            return property.value.value_or("");
        }
    }
    return "";
}

/// A conflict whose words end in the name that a part will be given.
struct Told {
    MergeConflict conflict;
    std::size_t part = kNoPart;
    std::size_t about = kNoPart;  ///< the part that is in conflict, which may get another name than ours gave it
    std::optional<std::size_t> deleter{};  ///< the side that deleted the part
};

/// Numbers what the references of three versions lead to.
class Things {
public:
    explicit Things(const Trio& code) {
        for (std::size_t i = 0; i < code.size(); ++i) {
            if (code[i] != nullptr) {
                add(i, code[i]->links);
            }
        }
    }

    std::size_t size() const noexcept { return things_.size(); }
    const LinkTrio& at(std::size_t thing) const { return things_[thing]; }

    /// The number for an id in a version; a new one for an id that leads nowhere.
    std::size_t find(std::size_t version, const std::string& id) {
        const auto found = byId_[version].find(id);
        if (found != byId_[version].end()) {
            return found->second;
        }
        const auto [nowhere, isNew] = nowhere_.emplace(id, things_.size());
        if (isNew) {
            things_.emplace_back(LinkTrio{});
        }
        return nowhere->second;
    }

    /// The ids that lead nowhere, by number.
    std::map<std::size_t, std::string> nowhere() const {
        std::map<std::size_t, std::string> ids;
        for (const auto& [id, thing] : nowhere_) {
            ids[thing] = id;
        }
        return ids;
    }

private:
    /// Links of one id that lead to the same are one thing; then those that lead to the same, in their order.
    void add(std::size_t version, const std::vector<Link>& links) {
        std::vector<const Link*> left;
        for (const Link& link : links) {
            const auto found = exact_.find({link.leadsTo, link.record.id});
            if (found != exact_.end() && things_[found->second][version] == nullptr) {
                put(version, found->second, link);
            } else {
                left.push_back(&link);
            }
        }
        std::map<std::string, std::size_t> next;
        for (const Link* link : left) {
            std::vector<std::size_t>& same = same_[link->leadsTo];
            std::size_t& at = next[link->leadsTo];
            while (at < same.size() && things_[same[at]][version] != nullptr) {
                ++at;
            }
            if (at == same.size()) {
                same.push_back(things_.size());
                things_.emplace_back(LinkTrio{});
            }
            put(version, same[at], *link);
        }
    }

    void put(std::size_t version, std::size_t thing, const Link& link) {
        things_[thing][version] = &link;
        exact_.emplace(std::make_pair(link.leadsTo, link.record.id), thing);
        byId_[version].emplace(to_string(link.record.id), thing);
    }

    std::vector<LinkTrio> things_;
    std::map<std::pair<std::string, std::u16string>, std::size_t> exact_;
    std::map<std::string, std::vector<std::size_t>> same_;
    std::array<std::map<std::string, std::size_t>, 3> byId_;
    std::map<std::string, std::size_t> nowhere_;
};

class Merger {
public:
    Merger(const Document* base, const Document& ours, const Document& theirs, const MergeOptions& options)
        : options_(options), ours_(ours), theirs_(theirs) {
        if (base != nullptr) {
            base_.emplace(*base);
        } else {
            base_.emplace();
        }
    }

    MergeResult run() {
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
        mergeOthers();
        addPropertyConflicts();
        return finish();
    }

private:
    using Texts = std::array<std::optional<CodeText>, 3>;

    const Version& version(std::size_t which) const {
        return which == kBase ? *base_ : which == kOurs ? ours_ : theirs_;
    }

    std::size_t favoured() const { return options_.favour == Favour::Theirs ? kTheirs : kOurs; }

    void tell(MergeConflict conflict, std::size_t part = kNoPart, std::size_t about = kNoPart,
              std::optional<std::size_t> deleter = std::nullopt) {
        if (options_.favour == Favour::None) {
            told_.push_back({std::move(conflict), part, about, deleter});
        }
    }

    // Relationships ------------------------------------------------------------------------------------------------

    /// Adds what becomes of a relationship, and plans the part that it leads to.
    void decide(const LinkTrio& trio, std::vector<MergedLink>& links) {
        const Choice choice = choose(leadsTo(trio[kBase]), leadsTo(trio[kOurs]), leadsTo(trio[kTheirs]));
        if (choice != Choice::Conflict) {
            const std::size_t side = choice == Choice::Ours ? kOurs : kTheirs;
            if (trio[side] != nullptr) {
                addLink(trio, side, links);
            }
        } else if (trio[kOurs] == nullptr || trio[kTheirs] == nullptr) {
            settleDeletion(trio, links);
        } else if (trio[kOurs]->target != nullptr && trio[kTheirs]->target != nullptr) {
            addLink(trio, kOurs, links);
        } else {
            settleTargets(trio, links);
        }
    }

    /// Adds a relationship as one side has it, which leads to what becomes of the part in all versions.
    void addLink(const LinkTrio& trio, std::size_t side, std::vector<MergedLink>& links) {
        Trio targets = targetsOf(trio);
        if (trio[kOurs] == nullptr || trio[kTheirs] == nullptr) {
            targets[kBase] = nullptr;  // The one side that has it is not to be changed by what the other lacks.
        }
        const bool hasPart = trio[side]->target != nullptr;  // Under the same id the other may lead to a part.
        const Link& link = *trio[writingVersion(trio, side)];
        links.push_back({link.record, hasPart ? partOf(targets) : kNoPart, &link});
    }

    /// The version that says how a relationship is written whose meaning is that of a side.
    static std::size_t writingVersion(const LinkTrio& trio, std::size_t side) {
        const std::size_t other = side == kOurs ? kTheirs : kOurs;
        if (trio[other] == nullptr || trio[other]->leadsTo != trio[side]->leadsTo) {
            return side;
        }
        const auto written = [](const Link& link) { return std::tie(link.record.id, link.record.target); };
        const bool isOld = trio[kBase] != nullptr && written(*trio[kBase]) == written(*trio[kOurs]);
        return isOld ? kTheirs : kOurs;
    }

    void settleDeletion(const LinkTrio& trio, std::vector<MergedLink>& links) {
        const std::size_t keeper = trio[kOurs] != nullptr ? kOurs : kTheirs;
        if (options_.favour != Favour::None && favoured() != keeper) {
            return;
        }
        addLink(only(keeper, trio[keeper]), keeper, links);
        const Link& link = *trio[keeper];
        if (link.target != nullptr) {
            tellOfDeletion(links.back().part, keeper);
        } else {
            tell({ConflictKind::Relationship, placeOf(link), deletionIn(keeper)});
        }
    }

    static std::string deletionIn(std::size_t keeper) {
        return std::string(keeper == kOurs ? "theirs" : "ours") + " deleted it; kept as the other changed it";
    }

    void tellOfDeletion(std::size_t part, std::size_t keeper) {
        tell({ConflictKind::Part, "", deletionIn(keeper)}, kNoPart, part, keeper == kOurs ? kTheirs : kOurs);
    }

    /// Both sides have the relationship lead elsewhere, at least one of them to no part.
    void settleTargets(const LinkTrio& trio, std::vector<MergedLink>& links) {
        addLink(only(favoured(), trio[favoured()]), favoured(), links);
        if (options_.favour != Favour::None) {
            return;
        }
        addLink(only(kTheirs, trio[kTheirs]), kTheirs, links);
        links.back().record.id.clear();
        const auto targetOf = [&](std::size_t i) {
            return trio[i] == nullptr ? std::nullopt : std::make_optional(to_string(trio[i]->record.target));
        };
        tell({ConflictKind::Relationship, placeOf(*trio[kOurs]),
              "ours leads to " + *targetOf(kOurs) + ", theirs to " + *targetOf(kTheirs) + "; both are kept",
              targetOf(kBase), targetOf(kOurs), targetOf(kTheirs)});
    }

    static std::string placeOf(const Link& link) {
        return "relationship " + to_string(link.record.id) + " of " +
               (link.source == nullptr ? "/" : to_string(nameOf(*link.source)));
    }

    // Parts --------------------------------------------------------------------------------------------------------

    /// The part that three versions of one become, planned when it is first asked for.
    std::size_t partOf(const Trio& trio) {
        const bool isCode = (trio[kOurs] != nullptr && trio[kOurs] == ours_.code()) ||
                            (trio[kTheirs] != nullptr && trio[kTheirs] == theirs_.code());
        if (isCode && code_ != kNoPart) {
            return code_;
        }
        const auto known = parts_.find(trio);
        return known != parts_.end() ? known->second : parts_[trio] = plan(trio);
    }

    std::size_t plan(const Trio& trio) {
        if (const auto properties = planProperties(trio)) {
            return *properties;
        }
        Choice choice = trio[kTheirs] == nullptr ? Choice::Ours
                        : trio[kOurs] == nullptr ? Choice::Theirs
                                                 : chooseBy(trio, &Node::deep);
        if (choice == Choice::Conflict) {
            choice = chooseBy(trio, &Node::own);
            return choice == Choice::Conflict ? planConflict(trio) : planPart(trio, choice, false);
        }
        return planPart(trio, choice, true);
    }

    MergedPart named(const Trio& trio) const {
        const std::size_t naming = namingVersion(trio);
        MergedPart part;
        part.name = nameOf(*trio[naming]);
        part.isOfOurs = trio[kOurs] != nullptr && trio[kOurs]->name == trio[naming]->name;
        return part;
    }

    static void fill(MergedPart& part, const Node& node) {
        part.node = &node;
        part.contentType = node.contentType;
    }

    /// A part with the bytes of one side.
    /// @param isWhole  whether all that it leads to is of that side too, so that one such part is enough.
    std::size_t planPart(const Trio& trio, Choice choice, bool isWhole) {
        const Node& node = *trio[choice == Choice::Ours ? kOurs : kTheirs];
        MergedPart part = named(trio);
        fill(part, node);
        const auto key = std::make_pair(opc::model::PartName(part.name).folded(), node.deep);
        const auto same = isWhole ? whole_.find(key) : whole_.end();
        if (same != whole_.end()) {
            return same->second;
        }
        const std::size_t index = result_.add(std::move(part));
        if (isWhole) {
            whole_.emplace(key, index);
        }
        open_.push_back({index, {linksOf(trio[kBase]), linksOf(trio[kOurs]), linksOf(trio[kTheirs])}});
        return index;
    }

    /// Ours, or the favoured side's, with the other one beside it.
    std::size_t planConflict(const Trio& trio) {
        const std::size_t index = planAlone(favoured(), trio[favoured()], named(trio));
        if (options_.favour == Favour::None) {
            const std::size_t beside = addBeside(index, *trio[kTheirs]);
            tell({ConflictKind::Part, "", "kept as ours has it; theirs is added as "}, beside, index);
        }
        return index;
    }

    /// A part as one side has it, with all that it leads to.
    std::size_t planAlone(std::size_t side, const Node* node, MergedPart part) {
        fill(part, *node);
        const std::size_t index = result_.add(std::move(part));
        LinkLists lists;
        lists[side] = linksOf(node);
        open_.push_back({index, std::move(lists)});
        return index;
    }

    std::size_t addBeside(std::size_t index, const Node& theirs) {
        MergedPart part;
        part.name = besideName(result_.at(index).name);
        const std::size_t beside = planAlone(kTheirs, &theirs, std::move(part));
        result_.at(index).alternative = beside;
        return beside;
    }

    /// The relationships of the planned parts, whose targets may be further parts.
    void finishParts() {
        while (!open_.empty()) {
            const Open open = std::move(open_.back());
            open_.pop_back();
            std::vector<MergedLink> links;
            for (const LinkTrio& trio : matchById(open.links)) {
                decide(trio, links);
            }
            MergedPackage::giveIds(links);
            result_.at(open.part).links = std::move(links);
        }
    }

    /// Parts that no relationship leads to, by their names.
    void mergeUnreached() {
        std::map<std::string, Trio> all;
        for (const std::size_t i : {kBase, kOurs, kTheirs}) {
            for (const Node* node : version(i).unreached()) {
                all[node->name][i] = node;
            }
        }
        for (const auto& [name, trio] : all) {
            const Choice choice = chooseBy(trio, &Node::deep);
            const Node* const chosen = trio[choice == Choice::Ours ? kOurs : kTheirs];
            const bool isDeletion = trio[kOurs] == nullptr || trio[kTheirs] == nullptr;
            if (choice == Choice::Conflict && isDeletion) {
                const Node* const kept = trio[kOurs] != nullptr ? trio[kOurs] : trio[kTheirs];
                if (options_.favour == Favour::None || kept == trio[favoured()]) {
                    const std::size_t side = kept == trio[kOurs] ? kOurs : kTheirs;
                    tellOfDeletion(partOf(only(side, kept)), side);
                }
            } else if (isDeletion && chosen != nullptr) {
                partOf(only(chosen == trio[kOurs] ? kOurs : kTheirs, chosen));
            } else if (!isDeletion) {
                partOf(trio);
            }
        }
    }

    /// Entries that are no parts: nothing is known of them, so none is taken away.
    void mergeOthers() {
        const auto base = base_->document() == nullptr ? Others() : readOthers(*base_->document());
        result_.others() = readOthers(*ours_.document());
        for (auto& [name, content] : readOthers(*theirs_.document())) {
            const auto [mine, isNew] = result_.others().emplace(name, content);
            const auto old = base.find(name);
            const Choice choice =
                isNew || old == base.end() ? Choice::Conflict : choose(old->second, mine->second, content);
            if (isNew || mine->second == content || choice == Choice::Ours) {
                continue;
            }
            if (choice == Choice::Theirs || options_.favour == Favour::Theirs) {
                mine->second = content;
            } else {
                tell({ConflictKind::Entry, "the entry " + name, "kept as ours has it"});
            }
        }
    }

    // Properties ---------------------------------------------------------------------------------------------------

    /// A part of properties that the sides hold in different bytes; nothing for any other part.
    std::optional<std::size_t> planProperties(const Trio& trio) {
        const bool isProperties = trio[kOurs] != nullptr && trio[kTheirs] != nullptr &&
                                  propertiesRole(trio[kOurs]->contentType) != Role::None &&
                                  propertiesRole(trio[kTheirs]->contentType) != Role::None;
        if (!isProperties) {
            return std::nullopt;
        }
        std::array<std::optional<fl::Bytes>, 3> bytes;
        for (std::size_t i = 0; i < trio.size(); ++i) {
            bytes[i] = trio[i] == nullptr ? std::nullopt : std::make_optional(contentOf(trio[i]->part));
        }
        const Choice choice = choose(bytes[kBase], bytes[kOurs], bytes[kTheirs]);
        if (choice != Choice::Conflict) {
            return planPart(trio, choice, false);  // Digests leave out the time of the last modification.
        }
        const bool isTheirsLater = modifiedTime(*ours_.document()) < modifiedTime(*theirs_.document());
        auto merged = mergeProperties(bytes[kBase] ? &*bytes[kBase] : nullptr, *bytes[kOurs], *bytes[kTheirs],
                                      isTheirsLater, options_.favour);
        if (!merged) {
            return std::nullopt;
        }
        for (MergeConflict& conflict : merged->conflicts) {
            tell(std::move(conflict));
        }
        const std::size_t index = planPart(trio, Choice::Ours, false);
        result_.at(index).made = std::move(merged->content);
        return index;
    }

    /// Leaves both values of properties in conflict where `flowbook resolve` finds them.
    void addPropertyConflicts() {
        boost::json::object values;
        const auto jsonOf = [](const std::optional<std::string>& text) {
            return text ? boost::json::value(*text) : boost::json::value();
        };
        for (const Told& told : told_) {
            const MergeConflict& conflict = told.conflict;
            if (conflict.kind == ConflictKind::Property) {
                values[conflict.what] = {{"base", jsonOf(conflict.base)},
                                         {"ours", jsonOf(conflict.ours)},
                                         {"theirs", jsonOf(conflict.theirs)}};
            }
        }
        if (!values.empty()) {
            addTo(listOf(kPropertiesPart), std::move(values));
        }
    }

    /// The parts that one side deleted, under the names that they have been given.
    void fillKeptParts() {
        boost::json::object values;
        for (const Told& told : told_) {
            if (told.deleter) {
                const char* const side = *told.deleter == kTheirs ? "theirs" : "ours";
                values[to_string(result_.at(told.about).name)] = {{"deleted", side}};
            }
        }
        if (!values.empty()) {
            addTo(listOf(kKeptParts), std::move(values));
        }
    }

    /// The part with a list of what is open, which an earlier merge may have left.
    MergedPart& listOf(const char* name) {
        for (std::size_t i = 0; i < result_.size(); ++i) {
            if (to_string(result_.at(i).name) == name) {
                return result_.at(i);
            }
        }
        MergedPart part;
        part.name = to_ustring(name);
        part.contentType = u"application/json";
        part.made = fl::Bytes();
        const std::size_t index = result_.add(std::move(part));
        result_.links().push_back({{kConflictType, result_.at(index).name, u"", true}, index, nullptr});
        return result_.at(index);
    }

    /// What an earlier merge left is still open.
    static void addTo(MergedPart& part, boost::json::object values) {
        const fl::Bytes old = part.made ? *part.made : contentOf(part.node->part);
        boost::json::error_code failure;
        const auto parsed =
            boost::json::parse(std::string_view(reinterpret_cast<const char*>(old.data()), old.size()), failure);
        if (!failure && parsed.is_object()) {
            for (const auto& each : parsed.get_object()) {
                values.emplace(each.key(), each.value());
            }
        }
        const std::string text = boost::json::serialize(values);
        part.made = fl::Bytes(text.begin(), text.end());
    }

    // Outputs ------------------------------------------------------------------------------------------------------

    /// Running the code makes outputs again, so it is no conflict that both sides did.
    void mergeOutputs(const LinkTrio& trio) {
        const Choice choice = choose(leadsTo(trio[kBase]), leadsTo(trio[kOurs]), leadsTo(trio[kTheirs]));
        Outputs rule = options_.outputs.value_or(options_.favour == Favour::None     ? Outputs::OfCode
                                                 : options_.favour == Favour::Theirs ? Outputs::Theirs
                                                                                     : Outputs::Ours);
        if (choice != Choice::Conflict || rule == Outputs::Conflict) {
            decide(trio, result_.links());
            return;
        }
        if (rule == Outputs::Drop) {
            note(trio, "dropped, as both sides made them anew");
            return;
        }
        const bool isOfNeither = rule == Outputs::OfCode && !codeSide_;
        std::size_t side =
            rule == Outputs::Theirs || (rule == Outputs::OfCode && codeSide_ == kTheirs) ? kTheirs : kOurs;
        if (trio[side] == nullptr && rule == Outputs::OfCode) {
            side = side == kOurs ? kTheirs : kOurs;  // What one side deleted and the other changed is kept.
        }
        if (trio[side] != nullptr) {
            addLink(only(side, trio[side]), side, result_.links());
        }
        const bool isOpen = rule == Outputs::OfCode && side == kOurs && isCodeOpen() && keepTheirs(trio[kTheirs]);
        note(trio, std::string("kept as ") + (side == kOurs ? "ours has" : "theirs has") + " them" +
                       (isOpen        ? " until the code is settled"
                        : isOfNeither ? "; they are older than the merged code"
                                      : ""));
    }

    /// Whether the user is to choose between two versions of code, between markers or whole.
    bool isCodeOpen() const {
        return std::any_of(told_.begin(), told_.end(), [](const Told& told) {
            return told.conflict.kind == ConflictKind::Code && (told.conflict.ours || told.part != kNoPart);
        });
    }

    /// Keeps the outputs of theirs for when its code is chosen. @returns whether there are any.
    bool keepTheirs(const Link* link) {
        if (link == nullptr || link->target == nullptr) {
            return false;
        }
        MergedPart part;
        part.name = to_ustring(kTheirOutputs) + nameOf(*link->target);
        const std::size_t index = planAlone(kTheirs, link->target, std::move(part));
        result_.links().push_back({{kConflictType, u"", u"", true}, index, nullptr});
        return true;
    }

    void note(const LinkTrio& trio, const std::string& words) {
        const Link& link = *(trio[kOurs] != nullptr ? trio[kOurs] : trio[kTheirs]);
        const std::string target = to_string(link.target != nullptr ? nameOf(*link.target) : link.record.target);
        notes_.push_back("outputs " + target + ": " + words);
    }

    // Code ---------------------------------------------------------------------------------------------------------

    void mergeCodeLink(const LinkTrio& trio) {
        const Trio code = targetsOf(trio);
        const bool isDeletion = trio[kOurs] == nullptr || trio[kTheirs] == nullptr;
        if (!isDeletion) {
            planCode(code);
        } else {
            const std::size_t keeper = trio[kOurs] != nullptr ? kOurs : kTheirs;
            const bool isChanged = code[kBase] == nullptr || code[kBase]->deep != code[keeper]->deep;
            const bool isConflict = code[kBase] != nullptr && isChanged;
            if (!isChanged || (isConflict && options_.favour != Favour::None && favoured() != keeper)) {
                return;
            }
            codeSide_ = keeper;
            code_ = planAlone(keeper, code[keeper], named(only(keeper, code[keeper])));
            if (isConflict) {
                tell({ConflictKind::Code, "code", deletionIn(keeper)});
            }
        }
        addLink(trio, trio[kOurs] != nullptr ? kOurs : kTheirs, result_.links());
    }

    void planCode(const Trio& code) {
        Texts texts;
        bool isText = true;
        for (const std::size_t i : {kBase, kOurs, kTheirs}) {
            texts[i] = code[i] == nullptr ? std::nullopt : textOf(i);
            isText = isText && texts[i].has_value() == (code[i] != nullptr);
        }
        if (!isText || !planText(code, texts)) {
            planWhole(code);
        }
    }

    /// The code of a version as text; nothing when it is encrypted or malformed.
    std::optional<CodeText> textOf(std::size_t which) const {
        CodeText text;
        const CodeForm form = version(which).form();
        text.isPlain = form == CodeForm::Plain;
        if (form == CodeForm::Encrypted) {
            return std::nullopt;
        }
        fl::Bytes stored = contentOf(version(which).code()->part);
        try {
            text.document = inUtf8(std::move(stored), "");
            text.references = findReferences(text.document, "");
        } catch (const opc::Exception&) {
            return std::nullopt;
        }
        return text;
    }

    /// Merges the code by paragraphs. @returns whether that can be done.
    bool planText(const Trio& code, Texts& texts) {
        Things things(code);
        for (std::size_t i = 0; i < texts.size(); ++i) {
            for (const Reference& reference : texts[i] ? texts[i]->references : std::vector<Reference>()) {
                texts[i]->things[reference.id] = things.find(i, reference.id);
            }
        }
        auto merged = mergeCode(texts[kBase] ? &*texts[kBase] : nullptr, *texts[kOurs], *texts[kTheirs], options_);
        if (!merged) {
            return false;
        }
        MergedPart part = named(code);
        fill(part, *code[formSide(code, texts, merged->isPlain)]);
        part.isOfOurs = true;
        code_ = result_.add(std::move(part));
        std::vector<MergedLink> links;
        const std::vector<std::string> ids =
            linkThings(things, texts, merged->marked, !merged->conflicts.empty(), links);
        fl::Bytes document = unmarked(merged->marked, ids);
        codeSide_ = sideOfCode(document, *texts[kOurs], *texts[kTheirs]);
        result_.at(code_).made = asStored(code, texts, std::move(document));
        result_.at(code_).links = std::move(links);
        for (MergeConflict& conflict : merged->conflicts) {
            tell(std::move(conflict));
        }
        return true;
    }

    /// A document that a side has in the same words is written as that side has it, in its encoding.
    static fl::Bytes asStored(const Trio& code, const Texts& texts, fl::Bytes document) {
        std::array<std::optional<fl::Bytes>, 3> stored;
        for (std::size_t i = 0; i < stored.size(); ++i) {
            if (texts[i] && texts[i]->document == document) {
                stored[i] = contentOf(code[i]->part);
            }
        }
        const bool isTheirs = !stored[kOurs] || (stored[kTheirs] && choose(stored[kBase], stored[kOurs],
                                                                           stored[kTheirs]) == Choice::Theirs);
        return std::move(stored[isTheirs ? kTheirs : kOurs]).value_or(std::move(document));
    }

    /// The version whose content type the merged code has.
    static std::size_t formSide(const Trio& code, const Texts& texts, bool isPlain) {
        if (texts[kOurs]->isPlain != texts[kTheirs]->isPlain) {
            return texts[kOurs]->isPlain == isPlain ? kOurs : kTheirs;
        }
        return chooseBy(code, &Node::contentType) == Choice::Theirs ? kTheirs : kOurs;
    }

    /// Gives every thing that the text refers to a relationship, and adds those that no text refers to.
    /// @param isOpen  whether the text holds both sides of a conflict. @returns the ids by the numbers of the things.
    std::vector<std::string> linkThings(const Things& things, const Texts& texts, const std::string& marked,
                                        bool isOpen, std::vector<MergedLink>& links) {
        const std::map<std::size_t, std::string> nowhere = things.nowhere();
        std::set<const Link*> used;
        std::vector<std::size_t> linked;
        for (const std::size_t thing : thingsIn(marked)) {
            const LinkTrio& trio = things.at(thing);
            used.insert(trio.begin(), trio.end());
            if (nowhere.count(thing) == 0) {
                linked.push_back(thing);
            }
        }
        // Ours come first, so that they keep their ids.
        std::stable_sort(linked.begin(), linked.end(), [&](std::size_t a, std::size_t b) {
            return (things.at(a)[kOurs] != nullptr) > (things.at(b)[kOurs] != nullptr);
        });
        for (const std::size_t thing : linked) {
            addLink(things.at(thing), things.at(thing)[kOurs] != nullptr ? kOurs : kTheirs, links);
        }
        linkRest(used, texts, links);
        for (const std::size_t thing : isOpen ? linked : std::vector<std::size_t>()) {
            linkHanging(things.at(thing), texts, links);
        }
        MergedPackage::giveIds(links);
        std::vector<std::string> ids(things.size());
        for (std::size_t i = 0; i < linked.size(); ++i) {
            ids[linked[i]] = to_string(links[i].record.id);
        }
        keepNowhere(nowhere, links, ids);
        return ids;
    }

    /// What the text of one side refers to, and the other side has without a reference, stays when the reference goes
    /// with the conflict that it stands in: by a relationship of its own.
    void linkHanging(const LinkTrio& thing, const Texts& texts, std::vector<MergedLink>& links) {
        const auto refers = [&](std::size_t i) { return texts[i]->things.count(to_string(thing[i]->record.id)) != 0; };
        if (thing[kOurs] != nullptr && thing[kTheirs] != nullptr && refers(kOurs) != refers(kTheirs)) {
            const std::size_t side = refers(kOurs) ? kTheirs : kOurs;
            addLink(only(side, thing[side]), side, links);
            links.back().record.id.clear();
        }
    }

    /// A reference that leads nowhere must not come to lead somewhere.
    static void keepNowhere(const std::map<std::size_t, std::string>& nowhere, const std::vector<MergedLink>& links,
                            std::vector<std::string>& ids) {
        std::set<std::string> taken;
        for (const MergedLink& link : links) {
            taken.insert(to_string(link.record.id));
        }
        for (const auto& [thing, id] : nowhere) {
            ids[thing] = id;
            for (std::size_t number = 1; !taken.insert(ids[thing]).second; ++number) {
                ids[thing] = id + "-" + std::to_string(number);
            }
        }
    }

    /// Adds the relationships that the merged text does not refer to. Those that hang on a text of one side, and on
    /// none any more, go with it.
    void linkRest(const std::set<const Link*>& used, const Texts& texts, std::vector<MergedLink>& links) {
        LinkLists rest;
        std::set<const Link*> referred;
        for (std::size_t i = 0; i < rest.size(); ++i) {
            for (const Link* link : linksOf(version(i).code())) {
                if (used.count(link) == 0) {
                    rest[i].push_back(link);
                }
                if (texts[i] && texts[i]->things.count(to_string(link->record.id)) != 0) {
                    referred.insert(link);
                }
            }
        }
        for (LinkTrio trio : matchLinks(rest)) {
            const auto hangs = [&](std::size_t i) { return trio[i] != nullptr && referred.count(trio[i]) == 0; };
            const std::size_t lost = hangs(kOurs) ? kTheirs : kOurs;
            if (!hangs(kOurs) && !hangs(kTheirs)) {
                continue;
            }
            if (trio[lost] != nullptr && !hangs(lost)) {
                trio = only(lost == kOurs ? kTheirs : kOurs, trio[lost == kOurs ? kTheirs : kOurs]);
            }
            decide(trio, links);
        }
    }

    std::optional<std::size_t> sideOfCode(const fl::Bytes& document, const CodeText& ours,
                                          const CodeText& theirs) const {
        const std::optional<std::string> code = codeIn(document);
        if (code == codeIn(ours.document)) {
            return kOurs;
        }
        return code == codeIn(theirs.document) ? std::make_optional(kTheirs) : std::nullopt;
    }

    /// Code that cannot be merged by paragraphs: as one side has it, or both versions, each with its own pictures.
    void planWhole(const Trio& code) {
        const Choice choice = chooseBy(code, &Node::own);
        if (choice != Choice::Conflict) {
            codeSide_ = choice == Choice::Ours ? kOurs : kTheirs;
            MergedPart part = named(code);
            fill(part, *code[*codeSide_]);
            code_ = result_.add(std::move(part));
            open_.push_back({code_, {linksOf(code[kBase]), linksOf(code[kOurs]), linksOf(code[kTheirs])}});
            return;
        }
        codeSide_ = favoured();
        code_ = planAlone(favoured(), code[favoured()], named(code));
        if (options_.favour == Favour::None) {
            const std::size_t beside = addBeside(code_, *code[kTheirs]);
            tell({ConflictKind::Code, "code", "kept as ours has it; theirs is added as "}, beside);
        }
    }

    // Result -------------------------------------------------------------------------------------------------------

    MergeResult finish() {
        const auto isDeletion = [](const Told& told) { return told.deleter.has_value(); };
        if (std::any_of(told_.begin(), told_.end(), isDeletion)) {
            listOf(kKeptParts);  // It takes part when names are given.
        }
        for (const std::string& entry : result_.giveNames()) {
            tell({ConflictKind::Entry, "the entry " + entry, "left out, as a part has its name"});
        }
        fillKeptParts();
        MergeResult result;
        for (Told& told : told_) {
            if (told.part != kNoPart) {
                told.conflict.words += to_string(result_.at(told.part).name);
            }
            if (told.about != kNoPart) {
                told.conflict.what = to_string(result_.at(told.about).name);
            }
            result.conflicts.push_back(std::move(told.conflict));
        }
        result.notes = std::move(notes_);
        result.flowbook = result_.write();
        return result;
    }

    using Others = std::map<std::string, fl::Bytes>;

    /// A planned part whose relationships are not merged yet.
    struct Open {
        std::size_t part;
        LinkLists links;
    };

    const MergeOptions& options_;
    std::optional<Version> base_;
    Version ours_, theirs_;
    MergedPackage result_;
    std::size_t code_ = kNoPart;
    std::optional<std::size_t> codeSide_;  ///< the side whose code the merged code is
    std::map<Trio, std::size_t> parts_;
    std::map<std::pair<std::string, std::string>, std::size_t> whole_;  ///< by name and digest
    std::vector<Open> open_;
    std::vector<Told> told_;
    std::vector<std::string> notes_;
};

}  // namespace

const char* nameOf(ConflictKind kind) {
    constexpr const char* kNames[] = {"code", "property", "part", "relationship", "entry"};
    return kNames[static_cast<std::size_t>(kind)];
}

MergeResult merge(const Document* base, const Document& ours, const Document& theirs, const MergeOptions& options) {
    return Merger(base, ours, theirs, options).run();
}

}  // namespace flowbook::kit
