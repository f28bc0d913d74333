// Finds out which relationships of three versions are the same. Ids are no help, as every program gives its own, so
// what a relationship leads to and where it stands decide: first what agrees in both, then in one, and last what is the
// only one of its type that is left.
#include "kit/compare/LinkMatch.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/model/ContentType.hpp"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <tuple>

namespace flowbook::kit {

namespace {

using KeyOf = std::function<std::optional<std::string>(const Link&)>;

std::string typeOf(const Link& link) {
    return fl::i18n::to_string(link.record.type) + (link.record.isInternal ? "\ninternal" : "\nexternal");
}

std::optional<std::string> byPlaceAndContent(const Link& link) { return link.place + link.leadsTo; }
std::optional<std::string> byContent(const Link& link) { return link.leadsTo; }
std::optional<std::string> byPlace(const Link& link) { return link.place; }
std::optional<std::string> byId(const Link& link) { return fl::i18n::to_string(link.record.id); }
std::optional<std::string> byType(const Link& link) {
    return isPicture(link) ? std::nullopt : std::make_optional(typeOf(link));
}

/// Puts links together step by step, the surer ways first. A trio holds places in the lists.
class Matcher {
public:
    explicit Matcher(const LinkLists& lists) : lists_(lists) {
        for (const std::size_t version : {kOurs, kBase, kTheirs}) {
            for (std::size_t i = 0; i < lists[version].size(); ++i) {
                places_.push_back({kNone, kNone, kNone});
                places_.back()[version] = i;
            }
        }
    }

    /// Puts together those whose links have the same key, in each two of the versions.
    void combine(const KeyOf& keyOf) {
        combine(kBase, kOurs, keyOf);
        combine(kOurs, kTheirs, keyOf);
        combine(kBase, kTheirs, keyOf);
    }

    /// The same where just one link of a type is left in both of two versions.
    void combineLast() {
        combineLast(kBase, kOurs);
        combineLast(kOurs, kTheirs);
        combineLast(kBase, kTheirs);
    }

    std::vector<LinkTrio> take() {
        const auto order = [](const Places& trio) { return std::make_tuple(trio[kOurs], trio[kBase], trio[kTheirs]); };
        std::sort(places_.begin(), places_.end(),
                  [&](const Places& a, const Places& b) { return order(a) < order(b); });
        std::vector<LinkTrio> trios;
        for (const Places& places : places_) {
            LinkTrio& trio = trios.emplace_back(LinkTrio{});
            for (std::size_t i = 0; i < trio.size(); ++i) {
                trio[i] = places[i] == kNone ? nullptr : lists_[i][places[i]];
            }
        }
        return trios;
    }

private:
    using Places = std::array<std::size_t, 3>;
    /// By key, and by whether they have the third version: only one of two that come together may.
    using Waiting = std::map<std::pair<std::string, bool>, std::vector<std::size_t>>;
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// The link of one version in a trio that has none of another; null for any other trio.
    const Link* open(const Places& trio, std::size_t version, std::size_t other) const {
        return trio[version] == kNone || trio[other] != kNone ? nullptr : lists_[version][trio[version]];
    }

    void combine(std::size_t one, std::size_t other, const KeyOf& keyOf) {
        const std::size_t third = kBase + kOurs + kTheirs - one - other;
        Waiting waiting;
        // From the end, since the last that waits is taken first: pairs then come in the order of the lists.
        for (std::size_t i = places_.size(); i-- > 0;) {
            const Link* const link = open(places_[i], one, other);
            if (const auto key = link == nullptr ? std::nullopt : keyOf(*link)) {
                waiting[{*key, places_[i][third] != kNone}].push_back(i);
            }
        }
        for (const bool withThird : {true, false}) {  // What two versions have alike, the third one has sooner.
            for (Places& trio : places_) {
                const bool isMeant = !waiting.empty() && (trio[third] != kNone) == withThird;
                const Link* const link = isMeant ? open(trio, other, one) : nullptr;
                if (const auto key = link == nullptr ? std::nullopt : keyOf(*link)) {
                    take(*key, trio, one, third, waiting);
                }
            }
        }
        places_.erase(std::remove(places_.begin(), places_.end(), Places{kNone, kNone, kNone}), places_.end());
    }

    /// Puts the first that waits with this key into a trio that lacks it.
    void take(const std::string& key, Places& trio, std::size_t one, std::size_t third, Waiting& waiting) {
        for (const bool hasThird : {true, false}) {
            const auto found = waiting.find({key, hasThird});
            const bool fits = trio[one] == kNone && (!hasThird || trio[third] == kNone);
            if (fits && found != waiting.end() && !found->second.empty()) {
                Places& match = places_[found->second.back()];
                found->second.pop_back();
                trio[one] = match[one];
                // At most one of the two has the third version; the other one has kNone there, the largest number.
                trio[third] = std::min(trio[third], match[third]);
                match = {kNone, kNone, kNone};
            }
        }
    }

    void combineLast(std::size_t one, std::size_t other) {
        std::map<std::string, std::array<std::size_t, 3>> left;
        for (const Places& trio : places_) {
            for (const auto& [version, lacking] : {std::make_pair(one, other), std::make_pair(other, one)}) {
                const Link* const link = open(trio, version, lacking);
                if (const auto type = link == nullptr ? std::nullopt : byType(*link)) {
                    left[*type][version] += 1;
                }
            }
        }
        combine(one, other, [&](const Link& link) {
            const std::optional<std::string> type = byType(link);
            return type && left[*type][one] == 1 && left[*type][other] == 1 ? type : std::nullopt;
        });
    }

    const LinkLists& lists_;
    std::vector<Places> places_;
};

std::vector<LinkTrio> match(const LinkLists& lists, const std::vector<KeyOf>& keys) {
    Matcher matcher(lists);
    for (const KeyOf& key : keys) {
        matcher.combine(key);
    }
    matcher.combineLast();
    return matcher.take();
}

const std::vector<std::u16string>& packageTypes() {
    static const std::vector<std::u16string>& types =
        *new std::vector<std::u16string>(FlowbookFilePackage::getPackageRelationshipTypes());
    return types;
}

const std::u16string& outputType() { return packageTypes()[1]; }

Role roleOf(const Link& link, const Version& version) {
    if (link.target != nullptr && link.target == version.code() && link.record.type == packageTypes()[0]) {
        return Role::Code;
    }
    if (link.record.type == outputType()) {
        return Role::Output;
    }
    return link.target == nullptr ? Role::None : propertiesRole(link.target->contentType);
}

using Roles = std::map<const Link*, Role>;

void addRoles(const Version& version, Roles& roles) {
    std::map<Role, bool> seen;
    for (const Link& link : version.links()) {
        const Role role = roleOf(link, version);
        // The first of a role counts, as readers take it. Further ones are relationships like any other.
        if (role != Role::None && !std::exchange(seen[role], true)) {
            roles[&link] = role;
        }
    }
}

std::vector<const Link*> pointersTo(const std::vector<Link>& links) {
    std::vector<const Link*> pointers;
    for (const Link& link : links) {
        pointers.push_back(&link);
    }
    return pointers;
}

/// Pictures that both sides added under one name are two, unless they are the same.
std::vector<LinkTrio> withoutFalsePairs(std::vector<LinkTrio> trios) {
    std::vector<LinkTrio> added;
    for (LinkTrio& trio : trios) {
        const bool isAddedTwice = trio[kBase] == nullptr && trio[kOurs] != nullptr && trio[kTheirs] != nullptr;
        if (isAddedTwice && isPicture(*trio[kTheirs]) && trio[kOurs]->leadsTo != trio[kTheirs]->leadsTo) {
            added.push_back({nullptr, nullptr, std::exchange(trio[kTheirs], nullptr)});
        }
    }
    trios.insert(trios.end(), added.begin(), added.end());
    return trios;
}

}  // namespace

std::vector<std::pair<Role, LinkTrio>> matchPackageLinks(const Version& base, const Version& ours,
                                                         const Version& theirs) {
    const LinkLists lists{pointersTo(base.links()), pointersTo(ours.links()), pointersTo(theirs.links())};
    Roles roles;
    for (const Version* version : {&base, &ours, &theirs}) {
        addRoles(*version, roles);
    }
    const auto roleIn = [&](const Link& link) {
        const auto found = roles.find(&link);
        return found == roles.end() ? Role::None : found->second;
    };
    const KeyOf byRole = [&](const Link& link) {
        const Role role = roleIn(link);
        return role == Role::None ? std::nullopt : std::make_optional(std::to_string(static_cast<int>(role)));
    };
    // What has a role is paired by nothing else.
    const auto other = [&](std::optional<std::string> (*keyOf)(const Link&)) -> KeyOf {
        return [&roleIn, keyOf](const Link& link) { return roleIn(link) != Role::None ? std::nullopt : keyOf(link); };
    };
    std::vector<std::pair<Role, LinkTrio>> result;
    for (const LinkTrio& trio :
         withoutFalsePairs(match(lists, {byRole, other(byPlaceAndContent), other(byContent), other(byPlace)}))) {
        const Link* const any = trio[kOurs] != nullptr ? trio[kOurs] : trio[kTheirs];
        const bool isOutput = any != nullptr && any->record.type == outputType();
        result.emplace_back(any == nullptr ? Role::None : isOutput ? Role::Output : roleIn(*any), trio);
    }
    return result;
}

std::vector<LinkTrio> matchLinks(const LinkLists& lists) {
    return withoutFalsePairs(match(lists, {byPlaceAndContent, byContent, byPlace}));
}

std::vector<LinkTrio> matchById(const LinkLists& lists) {
    Matcher matcher(lists);
    matcher.combine(byId);
    return matcher.take();
}

std::vector<const Link*> linksOf(const Node* node) {
    return node == nullptr ? std::vector<const Link*>() : pointersTo(node->links);
}

bool isPicture(const Link& link) { return link.target != nullptr && link.target->contentType.rfind(u"image/", 0) == 0; }

Role propertiesRole(const std::u16string& contentType) {
    const std::u16string type = opc::model::ContentType(contentType).getMediaType();
    return type == u"application/vnd.openxmlformats-package.core-properties+xml" ? Role::CoreProperties
           : type == u"application/vnd.pellarion.package.properties+xml"         ? Role::MoreProperties
                                                                                 : Role::None;
}

}  // namespace flowbook::kit
