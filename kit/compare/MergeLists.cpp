#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/compare/Merger.hpp"
#include "kit/compare/PropertyMerge.hpp"
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
    for (MergeConflict& conflict : merged->conflicts) {
        tell(std::move(conflict));
    }
    const std::size_t index = planPart(trio, Choice::Ours, false);
    result_.at(index).made = std::move(merged->content);
    return index;
}

void Merger::addPropertyConflicts() {
    boost::json::object values;
    const auto jsonOf = [](const std::optional<std::string>& text) {
        return text ? boost::json::value(*text) : boost::json::value();
    };
    for (const ToldConflict& told : told_) {
        const MergeConflict& conflict = told.conflict;
        if (conflict.kind == ConflictKind::Property) {
            values[conflict.what] = {
                {"base", jsonOf(conflict.base)}, {"ours", jsonOf(conflict.ours)}, {"theirs", jsonOf(conflict.theirs)}};
        }
    }
    if (!values.empty()) {
        addTo(listOf(kPropertiesPart), std::move(values));
    }
}

void Merger::fillKeptParts() {
    boost::json::object values;
    for (const ToldConflict& told : told_) {
        if (told.deleter) {
            const char* const side = *told.deleter == kTheirs ? "theirs" : "ours";
            values[to_string(result_.at(told.about).name)] = {{"deleted", side}};
        }
    }
    if (!values.empty()) {
        addTo(listOf(kKeptParts), std::move(values));
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
