#include "kit/compare/Conflicts.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/ConflictLists.hpp"
#include "kit/compare/MarkedCode.hpp"
#include "kit/document/Characters.hpp"
#include "kit/package/PackageContent.hpp"

#include <algorithm>
#include <boost/json.hpp>
#include <iterator>
#include <map>
#include <set>

namespace flowbook::kit {

using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;

namespace {

constexpr std::string_view kTheirsSuffix = "-theirs";

/// The name of the part or entry that theirs was added beside; nothing for any other. The list of a merge says so and
/// not its name, which a user may have given to something else.
std::optional<std::string> besideWhat(const boost::json::object& kept, const std::string& name) {
    const boost::json::value* const value = kept.if_contains(name);
    return value == nullptr ? std::nullopt : textAt(*value, "theirsOf");
}

std::optional<std::string> partLedTo(const Package& package, const opc::model::Relationship& relationship) {
    const std::string target = foldedTarget(relationship).value_or("");
    for (const Part& part : package.getParts()) {
        if (part.getName().folded() == target) {
            return part.getName().ascii();
        }
    }
    return std::nullopt;
}

std::optional<std::string> targetAt(const Package& package, const std::string& link) {
    const auto relationship = relationshipAt(package, link);
    return relationship ? std::make_optional(fl::i18n::to_string(relationship->getTarget())) : std::nullopt;
}

std::string rivalOf(const std::string& link, const std::string& id) {
    return splitLink(link).first.append(1, '#').append(id);
}

/// The relationships that those of theirs are there instead of.
std::set<std::string> rivalsIn(const boost::json::object& list) {
    std::set<std::string> rivals;
    for (const auto& each : list) {
        if (const auto id = textAt(each.value(), "insteadOf")) {
            rivals.insert(rivalOf(std::string(each.key()), *id));
        }
    }
    return rivals;
}

/// A relationship that both sides have leading elsewhere.
OpenConflict openTargets(const Package& package, const std::string& ours, const std::string& theirs) {
    OpenConflict conflict{OpenConflict::Kind::Relationship, ours, targetAt(package, ours), targetAt(package, theirs)};
    conflict.links = {ours, theirs};
    return conflict;
}

/// A relationship that one side deleted, or the part that it leads to.
OpenConflict openDeletion(const Package& package, const std::string& link, Side keeper) {
    using Kind = OpenConflict::Kind;
    const auto part = partLedTo(package, *relationshipAt(package, link));
    const auto code = codePartIn(package);
    OpenConflict conflict{part ? Kind::Deletion : Kind::Relationship, part.value_or(link)};
    (keeper == Side::Ours ? conflict.ours : conflict.theirs) = targetAt(package, link);
    conflict.deleter = keeper == Side::Ours ? Side::Theirs : Side::Ours;
    conflict.isCode = part && code && code->getName().ascii() == *part;
    conflict.links = {link};
    return conflict;
}

/// Relationships, and parts with the relationships to them, of which only one side has one, or each its own.
void addOpenLinks(const Package& package, std::vector<OpenConflict>& open) {
    const boost::json::object list = readList(package, kOpenLinks);
    const std::set<std::string> rivals = rivalsIn(list);
    std::map<std::string, std::size_t> parts;
    for (const auto& each : list) {
        const std::string link(each.key());
        if (!relationshipAt(package, link) || textAt(each.value(), "with") || rivals.count(link) != 0) {
            continue;
        }
        if (const auto id = textAt(each.value(), "insteadOf")) {
            open.push_back(openTargets(package, rivalOf(link, *id), link));
            continue;
        }
        OpenConflict conflict = openDeletion(package, link, sideAt(each.value(), "of"));
        const auto [known, isNew] = parts.emplace(conflict.name, open.size());
        if (isNew || conflict.kind == OpenConflict::Kind::Relationship) {
            open.push_back(std::move(conflict));
        } else {
            open[known->second].links.push_back(link);
        }
    }
}

/// Entries that are no parts, of which theirs has been added beside ours.
void addOpenEntries(const Document& document, std::vector<OpenConflict>& open) {
    std::set<std::string> names;
    for (const std::size_t entry : otherEntries(document)) {
        names.emplace(document.container().entries()[entry].name);
    }
    const boost::json::object kept = readList(document.package(), kKeptParts);
    for (const std::string& theirs : names) {
        const auto name = besideWhat(kept, theirs);
        if (name && names.count(*name) != 0) {
            open.push_back({OpenConflict::Kind::Entry, *name, std::nullopt, theirs});
        }
    }
}

/// What one side deleted and no relationship leads to: parts, and entries that are none.
void addKept(const Document& document, std::vector<OpenConflict>& open) {
    const auto& entries = document.container().entries();
    for (const auto& each : readList(document.package(), kKeptParts)) {
        const std::string name(each.key());
        const bool isThere =
            PartName::isValid(name)
                ? document.package().hasPart(partNamed(name))
                : std::any_of(entries.begin(), entries.end(), [&](const auto& entry) { return entry.name == name; });
        if (isThere && !textAt(each.value(), "theirsOf")) {
            OpenConflict conflict{OpenConflict::Kind::Deletion, name};
            conflict.deleter = sideAt(each.value(), "deleted");
            open.push_back(std::move(conflict));
        }
    }
}

}  // namespace

std::string besideName(const std::string& name, std::size_t number) {
    const std::size_t last = name.rfind('.');
    const std::size_t begin = name.rfind('/') == std::string::npos ? 0 : name.rfind('/') + 1;
    const std::size_t dot = last != std::string::npos && last >= begin ? last : name.size();
    return name.substr(0, dot) + std::string(kTheirsSuffix) + std::to_string(number) + name.substr(dot);
}

std::vector<OpenConflict> openConflicts(const Document& document) {
    std::vector<OpenConflict> open = openBesideMarkers(document);
    const bool isText = document.form() == CodeForm::Plain || document.form() == CodeForm::Rich;
    if (isText && hasMarkers(document.storedCode())) {
        open.insert(open.begin(), {OpenConflict::Kind::Code, ""});
    }
    return open;
}

std::vector<OpenConflict> openParts(const Package& package) {
    using Kind = OpenConflict::Kind;
    const std::optional<Part> code = codePartIn(package);
    const boost::json::object kept = readList(package, kKeptParts);
    std::map<std::string, OpenConflict> parts;
    for (const Part& part : package.getParts()) {
        const std::string& theirs = part.getName().ascii();
        const auto name = besideWhat(kept, theirs);
        if (startsWith(theirs, std::string(kTheirOutputs) + "/")) {
            const std::string ours = theirs.substr(std::string_view(kTheirOutputs).size());
            parts.emplace(theirs, OpenConflict{Kind::Outputs, ours, std::nullopt, theirs});
        } else if (name && PartName::isValid(*name) && package.hasPart(partNamed(*name))) {
            const bool isCode = code && code->getName() == partNamed(*name);
            parts.emplace(theirs, OpenConflict{isCode ? Kind::Code : Kind::Part, *name, std::nullopt, theirs});
        }
    }
    std::vector<OpenConflict> open;
    for (auto& [theirs, conflict] : parts) {
        open.push_back(std::move(conflict));
    }
    return open;
}

std::vector<OpenConflict> openBesideMarkers(const Document& document) {
    std::vector<OpenConflict> open;
    for (const auto& each : readList(document.package(), kPropertiesPart)) {
        open.push_back({OpenConflict::Kind::Property, std::string(each.key()), textAt(each.value(), "ours"),
                        textAt(each.value(), "theirs")});
    }
    std::vector<OpenConflict> parts = openParts(document.package());
    std::move(parts.begin(), parts.end(), std::back_inserter(open));
    addOpenLinks(document.package(), open);
    addKept(document, open);
    addOpenEntries(document, open);
    return open;
}

}  // namespace flowbook::kit
