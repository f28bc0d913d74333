#include "kit/compare/Settlement.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/release_info/ReleaseInfo.hpp"
#include "kit/compare/ConflictLists.hpp"
#include "kit/compare/MarkedCode.hpp"
#include "kit/compare/PropertyMerge.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/PropertyElements.hpp"
#include "kit/document/RichCodePart.hpp"
#include "kit/package/PackageLists.hpp"
#include "opc/Exception.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"

#include <algorithm>
#include <boost/date_time/posix_time/time_parsers.hpp>
#include <boost/json.hpp>
#include <map>

namespace flowbook::kit {

using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using opc::model::RelationshipSource;
using opc::pxservices::CoreProperties;
using opc::pxservices::CorePropertiesManager;

namespace {

using RelationshipList = std::vector<opc::model::Relationship>;

void removeRelationshipsTo(opc::model::RelationshipSource& source, const PartName& target) {
    for (const auto& each : source.getRelationships(opc::model::ExcludeMode::External)) {
        if (foldedTarget(each) == target.folded()) {
            source.deleteRelationship(each);
        }
    }
}

void removeWithLinks(Package& package, const PartName& name) {
    // Relationships go first: deleting the part alone would leave them leading nowhere.
    removeRelationshipsTo(package, name);
    for (Part& part : package.getParts()) {
        removeRelationshipsTo(part, name);
    }
    package.deletePart(name);
}

/// Takes an item off a list, and the list away with its last item.
void takeOff(Package& package, const char* list, const std::string& item) {
    boost::json::object left = readList(package, list);
    if (left.erase(item) == 0) {
        return;
    }
    if (left.empty()) {
        removeWithLinks(package, partNamed(list));
        return;
    }
    const std::string text = boost::json::serialize(left) + "\n";
    package.getPart(partNamed(list)).getOutputStream()->write(text.data(), text.size());
}

/// Puts a part with its relationships in the place of another, to which all relationships stay.
void replacePart(Package& package, const PartName& old, const PartName& fresh) {
    const Part from = package.getPart(fresh);
    const fl::Bytes content = contentOf(from);
    const RelationshipList relationships = from.getRelationships(opc::model::ExcludeMode::None);
    const opc::model::ContentType type = from.getContentType();
    // Made anew and not overwritten, as the other side may have given the part another content type.
    package.deletePart(old);
    Part to = package.createPart(
        old, type, opc::model::StandardPartInfo(opc::interfaces::CompressionType::Normal, content.size()));
    to.getOutputStream()->write(content.data(), content.size());
    takeOver(relationships, to);
}

/// Adds a property that a flowbook does not have.
void addProperty(Package& package, const std::string& name, const std::string& value) {
    CorePropertiesManager manager(package, CorePropertiesManager::DeterministicMode::Off);
    CoreProperties properties = manager.getCoreProperties();
    const std::u16string text = fl::i18n::to_ustring(value);
    if (name == "title") {
        properties.setTitle(text);
    } else if (name == "description") {
        properties.setDescription(text);
    } else if (name == "version") {
        properties.setVersion(text);
    } else if (name == "category") {
        properties.setCategory(text);
    } else if (name == "release") {
        properties.setTARMICReleaseInfo(foundation::release_info::ReleaseInfo(text));
    } else if (name == "created" && endsWith(value, "Z")) {
        properties.setCreatedTime(boost::posix_time::from_iso_extended_string(value.substr(0, value.size() - 1)));
    } else {
        throw opc::Exception(opc::ErrorKind::Misuse, "the property " + name + " cannot be set");
    }
    manager.setCoreProperties(properties);
}

/// Has a part of properties hold an element as theirs has it. @returns whether the list of properties says how.
bool settleElement(Package& package, const OpenConflict& conflict, Side side) {
    const boost::json::object list = readList(package, kPropertiesPart);
    const boost::json::value* const values = list.if_contains(conflict.name);
    const auto name = values == nullptr ? std::nullopt : textAt(*values, "part");
    const auto element = values == nullptr ? std::nullopt : textAt(*values, "element");
    if (!name || !element || !PartName::isValid(*name) || !package.hasPart(partNamed(*name))) {
        return false;
    }
    Part part = package.getPart(partNamed(*name));
    // Ours is in the part already. It is only touched where ours had no such element, and the merge had kept theirs.
    const bool isKept = side == Side::Ours && conflict.ours;
    const auto content =
        withElement(contentOf(part), *element, side == Side::Ours ? std::nullopt : textAt(*values, "xml"));
    if (!isKept && content) {
        part.getOutputStream()->write(content->data(), content->size());
    }
    return isKept || content;
}

void settleProperty(Package& package, const OpenConflict& conflict, Side side) {
    // The list has the element as XML, with attributes that a text would lose. Where it lacks the XML, the texts
    // decide.
    if (settleElement(package, conflict, side)) {
        takeOff(package, kPropertiesPart, conflict.name);
        return;
    }
    const std::optional<std::string>& value = side == Side::Ours ? conflict.ours : conflict.theirs;
    if (!value) {
        removeProperty(package, conflict.name);
    } else if (side == Side::Theirs && !setPropertyText(package, conflict.name, *value)) {
        addProperty(package, conflict.name, *value);
    }
    takeOff(package, kPropertiesPart, conflict.name);
}

/// None of code that cannot be read, of which no relationship is taken away then.
std::set<std::string> idsMentionedIn(const Package& package) {
    const std::optional<Part> code = codePartIn(package);
    try {
        return code && formOf(*code) == CodeForm::Rich ? namedRelationships(contentOf(*code)) : std::set<std::string>();
    } catch (const opc::Exception&) {
        return {};
    }
}

std::set<std::string> partsReachedIn(const Package& package) {
    std::map<std::string, Part> parts;
    for (const Part& part : package.getParts()) {
        parts.emplace(part.getName().folded(), part);
    }
    std::set<std::string> reached;
    std::vector<const opc::model::RelationshipSource*> sources{&package};
    while (!sources.empty()) {
        const auto* const source = sources.back();
        sources.pop_back();
        for (const auto& each : source->getRelationships(opc::model::ExcludeMode::External)) {
            // No part has an empty name, so a relationship without a target is passed over.
            const auto found = parts.find(foldedTarget(each).value_or(""));
            if (found != parts.end() && reached.insert(found->first).second) {
                sources.push_back(&found->second);
            }
        }
    }
    return reached;
}

/// Calls `work` with the package or the part that relationships start from; does nothing where there is no such part.
template <class Work>
void fromSource(Package& package, const std::string& source, Work work) {
    if (source == "/") {
        work(static_cast<RelationshipSource&>(package));
    } else if (package.hasPart(partNamed(source))) {
        Part part = package.getPart(partNamed(source));
        work(static_cast<RelationshipSource&>(part));
    }
}

}  // namespace

Shown shownBy(const Document& document) {
    return {partsReachedIn(document.package()), idsMentionedIn(document.package())};
}

void removeUnmentioned(Package& package, const Shown& before) {
    const std::set<std::string> now = idsMentionedIn(package);
    std::optional<Part> code = codePartIn(package);
    for (const auto& each : code ? code->getRelationships(opc::model::ExcludeMode::None) : RelationshipList()) {
        const std::string id = fl::i18n::to_string(each.getID());
        if (before.ids.count(id) != 0 && now.count(id) == 0) {
            code->deleteRelationship(each);
        }
    }
}

void removeUnreached(Package& package, const Shown& before) {
    const std::set<std::string> now = partsReachedIn(package);
    for (const Part& part : package.getParts()) {
        const std::string& name = part.getName().folded();
        if (before.parts.count(name) != 0 && now.count(name) == 0) {
            package.deletePart(part.getName());
        }
    }
}

void EntryChanges::replace(const std::string& name, const std::string& by) {
    for (std::size_t i = 0; i < entries().size(); ++i) {
        if (entries()[i].name == by) {
            changes_[name] = read(i);
        }
    }
    changes_[by] = std::nullopt;
}

void EntryChanges::commit(const std::vector<opc::interfaces::PlannedEntry>& plan) {
    std::vector<opc::interfaces::PlannedEntry> changed;
    for (const opc::interfaces::PlannedEntry& each : plan) {
        const std::string name(each.content == nullptr ? entries()[each.carried].name : each.name);
        const auto change = changes_.find(name);
        if (change == changes_.end()) {
            changed.push_back(each);
        } else if (change->second) {
            changed.push_back({&*change->second, 0, name, each.compression});
        }
    }
    container_.commit(changed);
}

namespace {

void removeLink(Package& package, const std::string& link) {
    const auto [source, id] = splitLink(link);
    fromSource(package, source, [&, id = id](RelationshipSource& from) {
        if (const auto relationship = relationshipOf(from, id)) {
            from.deleteRelationship(*relationship);
        }
    });
}

/// Gives the relationship of theirs the id of that of ours, which goes.
void takePlace(Package& package, const std::string& ours, const std::string& theirs) {
    const auto relationship = relationshipAt(package, theirs);
    removeLink(package, ours);
    if (relationship) {
        const std::u16string type = relationship->getType(), target = relationship->getTarget();
        const auto mode = relationship->getTargetMode();
        const auto [source, id] = splitLink(ours);
        removeLink(package, theirs);
        fromSource(package, source, [&, id = id](RelationshipSource& from) {
            from.carryRelationship(type, target, mode, fl::i18n::to_ustring(id));
        });
    }
}

void settleLinks(Package& package, const OpenConflict& conflict, Side side) {
    if (conflict.links.size() > 1 && conflict.kind == OpenConflict::Kind::Relationship) {
        side == Side::Theirs ? takePlace(package, conflict.links[0], conflict.links[1])
                             : removeLink(package, conflict.links[1]);
    } else if (side == conflict.deleter) {
        for (const std::string& link : conflict.links) {
            removeLink(package, link);
        }
    }
    for (const std::string& link : conflict.links) {
        takeOff(package, kOpenLinks, link);
    }
}

void settleDeletion(Package& package, EntryChanges& entries, const OpenConflict& conflict, Side side) {
    takeOff(package, kKeptParts, conflict.name);
    if (side == conflict.deleter && PartName::isValid(conflict.name)) {
        removeWithLinks(package, partNamed(conflict.name));
    } else if (side == conflict.deleter) {
        entries.remove(conflict.name);
    }
}

/// Whether the text of the code refers to what a relationship of the code leads to by another one.
/// @param mentioned  the ids that the text refers to.
bool isDouble(const Package& package, const std::set<std::string>& mentioned,
              const opc::model::Relationship& relationship) {
    const std::optional<Part> code = codePartIn(package);
    const auto all = code ? code->getRelationships(opc::model::ExcludeMode::None) : RelationshipList();
    const auto place = [](const opc::model::Relationship& each) {
        return foldedTarget(each).value_or(fl::i18n::to_string(each.getTarget()));
    };
    return std::any_of(all.begin(), all.end(), [&](const opc::model::Relationship& each) {
        return mentioned.count(fl::i18n::to_string(each.getID())) != 0 && each.getType() == relationship.getType() &&
               place(each) == place(relationship);
    });
}

void settleBeside(Package& package, const OpenConflict& conflict, Side side) {
    if (side == Side::Theirs && package.hasPart(partNamed(conflict.name))) {
        replacePart(package, partNamed(conflict.name), partNamed(*conflict.theirs));
    }
    removeWithLinks(package, partNamed(*conflict.theirs));
    takeOff(package, kKeptParts, *conflict.theirs);
}

}  // namespace

void settle(Package& package, EntryChanges& entries, const OpenConflict& conflict, Side side) {
    if (conflict.kind == OpenConflict::Kind::Property) {
        settleProperty(package, conflict, side);
    } else if (!conflict.links.empty()) {
        settleLinks(package, conflict, side);
    } else if (conflict.kind == OpenConflict::Kind::Deletion) {
        settleDeletion(package, entries, conflict, side);
    } else if (conflict.kind == OpenConflict::Kind::Entry) {
        side == Side::Theirs ? entries.replace(conflict.name, *conflict.theirs) : entries.remove(*conflict.theirs);
        takeOff(package, kKeptParts, *conflict.theirs);
    } else if (conflict.theirs) {
        settleBeside(package, conflict, side);
    }
}

void settleWithCode(Package& package, std::optional<Side> side) {
    const std::vector<OpenConflict> open = openParts(package);
    const auto isCode = [](const OpenConflict& each) { return each.kind == OpenConflict::Kind::Code; };
    const std::optional<Part> code = codePartIn(package);
    const bool isMarked = code && formOf(*code) != CodeForm::Encrypted && hasMarkers(contentOf(*code));
    if (isMarked || std::any_of(open.begin(), open.end(), isCode)) {
        return;
    }
    for (const OpenConflict& conflict : open) {
        if (conflict.kind == OpenConflict::Kind::Outputs) {
            settleBeside(package, conflict, side.value_or(Side::Ours));
        }
    }
    const boost::json::object links = readList(package, kOpenLinks);
    const std::set<std::string> mentioned = links.empty() ? std::set<std::string>() : idsMentionedIn(package);
    for (const auto& each : links) {
        const std::string link(each.key());
        const auto relationship = relationshipAt(package, link);
        if (!textAt(each.value(), "with") || !relationship) {
            continue;
        }
        const bool isOfOther = side && sideAt(each.value(), "of") != *side;
        if (isOfOther || (splitLink(link).first != "/" && isDouble(package, mentioned, *relationship))) {
            removeLink(package, link);
        }
        takeOff(package, kOpenLinks, link);
    }
}

}  // namespace flowbook::kit
