#include "kit/compare/Conflicts.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/release_info/ReleaseInfo.hpp"
#include "kit/compare/ParagraphLines.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/PropertyElements.hpp"
#include "kit/document/References.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/package/PackageContent.hpp"
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
using opc::pxservices::CoreProperties;
using opc::pxservices::CorePropertiesManager;

namespace {

constexpr std::string_view kOursMark = "<<<<<<< ", kMiddleMark = "=======", kTheirsMark = ">>>>>>> ";
constexpr std::string_view kTheirsSuffix = "-theirs";

using RelationshipList = std::vector<opc::model::Relationship>;

/// Where a conflict lies among lines; nothing when its markers are not complete.
struct MarkedLines {
    std::size_t begin, middle, end;
};

std::optional<MarkedLines> findMarked(const std::vector<std::string_view>& lines, std::size_t from) {
    enum { Outside, Ours, Theirs } place = Outside;
    MarkedLines found{0, 0, 0};
    for (std::size_t i = from; i < lines.size(); ++i) {
        if (startsWith(lines[i], kOursMark)) {
            found.begin = i;
            place = Ours;
        } else if (place == Ours && lines[i] == kMiddleMark) {
            found.middle = i;
            place = Theirs;
        } else if (place == Theirs && startsWith(lines[i], kTheirsMark)) {
            found.end = i;
            return found;
        }
    }
    return std::nullopt;
}

/// Which lines a side has, of all; nothing that is not in conflict is left out.
std::vector<bool> keptLines(const std::vector<std::string_view>& lines, Side side) {
    std::vector<bool> kept(lines.size(), true);
    const auto leaveOut = [&](std::size_t begin, std::size_t end) {
        std::fill(kept.begin() + static_cast<std::ptrdiff_t>(begin), kept.begin() + static_cast<std::ptrdiff_t>(end),
                  false);
    };
    for (auto found = findMarked(lines, 0); found; found = findMarked(lines, found->end + 1)) {
        kept[found->begin] = false;
        side == Side::Ours ? leaveOut(found->middle, found->end + 1) : leaveOut(found->begin, found->middle + 1);
        kept[found->end] = false;
    }
    return kept;
}

/// A list that a merge left, of properties or parts; an empty one of a package without it.
boost::json::object readList(const Package& package, const char* list) {
    if (!package.hasPart(partNamed(list))) {
        return {};
    }
    const fl::Bytes content = contentOf(package.getPart(partNamed(list)));
    boost::system::error_code error;
    boost::json::value value = boost::json::parse(std::string(content.begin(), content.end()), error);
    if (error || !value.is_object()) {
        throw opc::Exception(opc::ErrorKind::Damaged, std::string("part ") + list + ": it is no JSON object");
    }
    return std::move(value.as_object());
}

std::optional<std::string> textAt(const boost::json::value& sides, const char* side) {
    const boost::json::object* const object = sides.if_object();
    const boost::json::value* const value = object == nullptr ? nullptr : object->if_contains(side);
    const boost::json::string* const text = value == nullptr ? nullptr : value->if_string();
    return text == nullptr ? std::nullopt : std::make_optional(std::string(*text));
}

/// The name of the part that a part of theirs was added beside; nothing for any other part.
std::optional<std::string> besideWhat(const std::string& name) {
    const std::size_t at = name.rfind(kTheirsSuffix);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t digits = at + kTheirsSuffix.size();
    const std::size_t end = std::min(name.find_first_not_of("0123456789", digits), name.size());
    const bool isNumbered =
        end != digits && (end == name.size() || name[end] == '.') && name.find('/', end) == std::string::npos;
    return isNumbered ? std::make_optional(name.substr(0, at) + name.substr(end)) : std::nullopt;
}

void removeRelationshipsTo(opc::model::RelationshipSource& source, const PartName& target) {
    for (const auto& each : source.getRelationships(opc::model::ExcludeMode::External)) {
        if (foldedTarget(each) == target.folded()) {
            source.deleteRelationship(each);
        }
    }
}

void removeWithLinks(Package& package, const PartName& name) {
    removeRelationshipsTo(package, name);
    for (Part& part : package.getParts()) {
        removeRelationshipsTo(part, name);
    }
    package.deletePart(name);
}

/// Takes an item off a list, and the list away with its last item.
void takeOff(Package& package, const char* list, const std::string& item) {
    boost::json::object left = readList(package, list);
    left.erase(item);
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
    const auto relationships = relationshipsOf(from);
    const opc::model::ContentType type = from.getContentType();
    package.deletePart(old);
    Part to = package.createPart(
        old, type, opc::model::StandardPartInfo(opc::interfaces::CompressionType::Normal, content.size()));
    to.getOutputStream()->write(content.data(), content.size());
    for (const auto& each : relationships) {
        const auto mode = each.isInternal ? opc::model::TargetMode::Internal : opc::model::TargetMode::External;
        to.carryRelationship(each.type, each.target, mode, each.id);
    }
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

void settleProperty(Package& package, const OpenConflict& conflict, Side side) {
    const std::optional<std::string>& value = side == Side::Ours ? conflict.ours : conflict.theirs;
    if (!value) {
        removeProperty(package, conflict.name);
    } else if (side == Side::Theirs && !setPropertyText(package, conflict.name, *value)) {
        addProperty(package, conflict.name, *value);
    }
    takeOff(package, kPropertiesPart, conflict.name);
}

/// The code of a package; nothing when there is none.
std::optional<Part> codePartIn(const Package& package) {
    for (const auto& each : package.getRelationshipsByType(documentRelationshipType())) {
        const auto isCode = [&](const Part& part) { return foldedTarget(each) == part.getName().folded(); };
        const std::vector<Part> parts = package.getParts();
        const auto found = std::find_if(parts.begin(), parts.end(), isCode);
        return found == parts.end() ? std::nullopt : std::make_optional(*found);
    }
    return std::nullopt;
}

/// None of code that cannot be read, of which no relationship is taken away then.
std::set<std::string> idsMentionedIn(const Package& package) {
    std::set<std::string> ids;
    const std::optional<Part> code = codePartIn(package);
    try {
        if (code && formOf(*code) == CodeForm::Rich) {
            for (const Reference& each : findReferences(inUtf8(contentOf(*code), ""), "")) {
                ids.insert(each.id);
            }
        }
    } catch (const opc::Exception&) {
        ids.clear();
    }
    return ids;
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
            const auto found = parts.find(foldedTarget(each).value_or(""));
            if (found != parts.end() && reached.insert(found->first).second) {
                sources.push_back(&found->second);
            }
        }
    }
    return reached;
}

/// The conflicts that a merge left as a part of theirs beside ours, by the name of theirs, so that they come in a fixed
/// order.
std::map<std::string, OpenConflict> partsOfBoth(const Package& package) {
    using Kind = OpenConflict::Kind;
    const std::optional<Part> code = codePartIn(package);
    std::map<std::string, OpenConflict> parts;
    for (const Part& part : package.getParts()) {
        const std::string& theirs = part.getName().ascii();
        const auto name = besideWhat(theirs);
        if (startsWith(theirs, std::string(kTheirOutputs) + "/")) {
            const std::string ours = theirs.substr(std::string_view(kTheirOutputs).size());
            parts.emplace(theirs, OpenConflict{Kind::Outputs, ours, std::nullopt, theirs});
        } else if (name && package.hasPart(partNamed(*name))) {
            const bool isCode = code && code->getName() == partNamed(*name);
            parts.emplace(theirs, OpenConflict{isCode ? Kind::Code : Kind::Part, *name, std::nullopt, theirs});
        }
    }
    return parts;
}

bool hasMarkers(const Document& document) {
    if (document.form() == CodeForm::Encrypted || document.form() == CodeForm::None) {
        return false;
    }
    const std::vector<std::string> paragraphs = codeParagraphs(document.storedCode());
    std::vector<std::string_view> lines;
    for (std::string_view text : paragraphs) {
        for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
            lines.push_back(text.substr(0, end));
            text.remove_prefix(end + 1);
        }
        lines.push_back(text);
    }
    return findMarked(lines, 0).has_value();
}

}  // namespace

std::vector<OpenConflict> openConflicts(const Document& document) {
    std::vector<OpenConflict> open = openBesideMarkers(document);
    if (hasMarkers(document)) {
        open.insert(open.begin(), {OpenConflict::Kind::Code, "", std::nullopt, std::nullopt});
    }
    return open;
}

std::vector<OpenConflict> openBesideMarkers(const Document& document) {
    using Kind = OpenConflict::Kind;
    const Package& package = document.package();
    std::vector<OpenConflict> open;
    for (const auto& each : readList(package, kPropertiesPart)) {
        open.push_back(
            {Kind::Property, std::string(each.key()), textAt(each.value(), "ours"), textAt(each.value(), "theirs")});
    }
    for (auto& [theirs, conflict] : partsOfBoth(package)) {
        open.push_back(std::move(conflict));
    }
    for (const auto& each : readList(package, kKeptParts)) {
        const std::string name(each.key());
        if (package.hasPart(partNamed(name))) {
            const Side deleter = textAt(each.value(), "deleted") == "theirs" ? Side::Theirs : Side::Ours;
            open.push_back({Kind::Deletion, name, std::nullopt, std::nullopt, deleter});
        }
    }
    return open;
}

fl::Bytes settledCode(const fl::Bytes& document, Side side) {
    const auto asItStands = [](const std::string& id) { return escapedValue(id); };
    const auto paragraphs = ParagraphLines::cut(inUtf8(document, "the code"), {}, asItStands);
    if (!paragraphs) {
        throw opc::Exception(opc::ErrorKind::Damaged, "the code cannot be read");
    }
    std::vector<std::string_view> texts;
    for (const BlockLine& line : paragraphs->lines()) {
        texts.push_back(paragraphs->isCode(line) ? std::string_view(line.text) : std::string_view());
    }
    const std::vector<bool> kept = keptLines(texts, side);
    std::string result = paragraphs->spelled(paragraphs->head(), asItStands);
    std::size_t line = 0;
    for (std::size_t block = 0; block < paragraphs->blocks().size(); ++block) {
        std::optional<std::string> code;
        for (; line < texts.size() && paragraphs->lines()[line].block == block; ++line) {
            if (kept[line]) {
                code = code ? *code + "\n" + std::string(texts[line]) : std::string(texts[line]);
            }
        }
        const MergeBlock& each = paragraphs->blocks()[block];
        const bool isCode = each.paragraph.code.has_value();
        result += code ? paragraphs->spelled(each, isCode ? code : std::nullopt, asItStands) : "";
    }
    result += paragraphs->spelled(paragraphs->tail(), asItStands);
    return {result.begin(), result.end()};
}

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

void settle(Package& package, const OpenConflict& conflict, Side side) {
    if (conflict.kind == OpenConflict::Kind::Property) {
        settleProperty(package, conflict, side);
    } else if (conflict.kind == OpenConflict::Kind::Deletion) {
        takeOff(package, kKeptParts, conflict.name);
        if (side == conflict.deleter) {
            removeWithLinks(package, partNamed(conflict.name));
        }
    } else if (conflict.theirs) {
        if (side == Side::Theirs && package.hasPart(partNamed(conflict.name))) {
            replacePart(package, partNamed(conflict.name), partNamed(*conflict.theirs));
        }
        removeWithLinks(package, partNamed(*conflict.theirs));
    }
}

}  // namespace flowbook::kit
