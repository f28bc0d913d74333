#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/compare/Merger.hpp"
#include "kit/document/StoredText.hpp"

#include <algorithm>
#include <boost/json.hpp>

namespace flowbook::kit {

using fl::i18n::to_string;
using fl::i18n::to_ustring;

namespace {

std::string modifiedTime(const Document& document) {
    for (const Property& property : document.properties()) {
        if (property.label == "modified") {
            return property.value.value_or("");
        }
    }
    return "";
}

/// Outputs of theirs have a folder of their own, by which they are found again.
bool isBesideOurs(const MergedPart& part) { return part.beside != kNoPart && !part.isOutput; }

}  // namespace

std::optional<std::size_t> Merger::planProperties(const Trio& trio) {
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
    const std::size_t index = planPart(trio, Choice::Ours, false);
    if (options_.favour == Favour::None) {
        addPropertyConflicts(std::move(merged->conflicts), index);
    }
    result_.at(index).made = std::move(merged->content);
    return index;
}

void Merger::addPropertyConflicts(std::vector<PropertyConflict>&& conflicts, std::size_t part) {
    for (PropertyConflict& conflict : conflicts) {
        const std::string label = conflict.report.what;
        const auto isTaken = [&](const auto& each) { return each.first.report.what == conflict.report.what; };
        for (std::size_t number = 2; std::any_of(properties_.begin(), properties_.end(), isTaken); ++number) {
            conflict.report.what = label + "-" + std::to_string(number);
        }
        addConflict(conflict.report);
        properties_.emplace_back(std::move(conflict), part);
    }
}

void Merger::planLists() {
    bool isOpen = false;
    forEachSource([&](const std::string&, const std::vector<MergedLink>& links) {
        isOpen = isOpen || std::any_of(links.begin(), links.end(), [](const MergedLink& link) { return link.of; });
    });
    const auto isDeletion = [](const auto& each) { return each.deleter.has_value(); };
    const auto isListed = [](const MergedEntry& each) { return each.deleter || each.isBeside; };
    const std::vector<MergedEntry>& entries = result_.entries();
    bool hasBeside = false;
    for (std::size_t i = 0; i < result_.size(); ++i) {
        hasBeside = hasBeside || isBesideOurs(result_.at(i));
    }
    if (isOpen) {
        listOf(kOpenLinks);
    }
    if (!properties_.empty()) {
        listOf(kPropertiesPart);
    }
    if (hasBeside || std::any_of(conflicts_.begin(), conflicts_.end(), isDeletion) ||
        std::any_of(entries.begin(), entries.end(), isListed)) {
        listOf(kKeptParts);
    }
}

void Merger::fillLists() {
    boost::json::object links;
    forEachSource([&](const std::string& source, const std::vector<MergedLink>& of) { listLinks(source, of, links); });
    for (auto& [name, values] : {std::make_pair(kOpenLinks, links), std::make_pair(kPropertiesPart, listProperties()),
                                 std::make_pair(kKeptParts, listKept())}) {
        if (!values.empty()) {
            addTo(listOf(name), values);
        }
    }
}

boost::json::object Merger::listProperties() {
    boost::json::object values;
    const auto jsonOf = [](const std::optional<std::string>& text) {
        return text ? boost::json::value(*text) : boost::json::value();
    };
    for (const auto& [conflict, part] : properties_) {
        values[conflict.report.what] = {{"base", jsonOf(conflict.report.base)},
                                        {"ours", jsonOf(conflict.report.ours)},
                                        {"theirs", jsonOf(conflict.report.theirs)},
                                        {"part", to_string(result_.at(part).name)},
                                        {"element", conflict.element},
                                        {"xml", jsonOf(conflict.theirs)}};
    }
    return values;
}

boost::json::object Merger::listKept() {
    boost::json::object values;
    const auto add = [&](const std::string& name, std::size_t deleter) {
        values[name] = {{"deleted", deleter == kTheirs ? "theirs" : "ours"}};
    };
    for (std::size_t i = 0; i < result_.size(); ++i) {
        if (isBesideOurs(result_.at(i))) {
            values[to_string(result_.at(i).name)] = {{"theirsOf", to_string(result_.at(result_.at(i).beside).name)}};
        }
    }
    for (const FoundConflict& found : conflicts_) {
        if (found.deleter) {
            add(to_string(result_.at(found.about).name), *found.deleter);
        }
    }
    for (const MergedEntry& entry : result_.entries()) {
        if (entry.deleter) {
            add(entry.name, *entry.deleter);
        } else if (entry.isBeside) {
            values[entry.name] = {{"theirsOf", entry.wanted}};
        }
    }
    return values;
}

void Merger::listLinks(const std::string& source, const std::vector<MergedLink>& links, boost::json::object& list) {
    for (const MergedLink& link : links) {
        if (!link.of) {
            continue;
        }
        boost::json::object value{{"of", *link.of == kTheirs ? "theirs" : "ours"}};
        if (link.rival != kNoPart) {
            value["insteadOf"] = to_string(links[link.rival].record.id);
        }
        if (link.isWithCode) {
            value["with"] = "code";
        }
        list[source + "#" + to_string(link.record.id)] = std::move(value);
    }
}

MergedPart& Merger::listOf(const char* name) {
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

void Merger::addTo(MergedPart& part, boost::json::object values) {
    const fl::Bytes old = part.made ? *part.made : contentOf(part.node->part);
    boost::json::error_code failure;
    const auto parsed = boost::json::parse(asText(old), failure);
    if (!failure && parsed.is_object()) {
        for (const auto& each : parsed.get_object()) {
            values.emplace(each.key(), each.value());
        }
    }
    const std::string text = boost::json::serialize(values);
    part.made = fl::Bytes(text.begin(), text.end());
}

}  // namespace flowbook::kit
