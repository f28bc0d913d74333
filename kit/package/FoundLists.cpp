// The lists of a damaged package. What a list names is what there was, so a list decides about doubtful names, and
// about entries that only it can miss. A list that was found twice may be an older one; the one that is whole comes
// first.
#include "kit/package/FoundLists.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/EntryNames.hpp"
#include "kit/package/PackageContent.hpp"
#include "kit/package/PackageNames.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/URI.hpp"

#include <algorithm>

namespace flowbook::kit {

using opc::model::PartName;
using opc::model::URI;
using Record = FlowbookFilePackage::Relationship;

namespace {

constexpr char kTypesEntry[] = "[Content_Types].xml";

/// Puts the lists first that are whole, and of those the one that the index means.
/// @param isSound  whether the list in a piece that is whole is.
template <class IsSound>
std::vector<ZipPiece*> bestFirst(std::vector<ZipPiece*> candidates, IsSound isSound) {
    if (candidates.size() == 1) {
        return candidates;
    }
    std::map<const ZipPiece*, int> ranks;
    for (const ZipPiece* const each : candidates) {
        // Ranked once each, as finding out whether a list is sound reads it whole.
        ranks[each] = (each->isCurrent() && isSound(*each) ? 2 : 0) + (each->isSpare ? 0 : 1);
    }
    std::stable_sort(candidates.begin(), candidates.end(), [&](auto* a, auto* b) { return ranks[a] > ranks[b]; });
    return candidates;
}

/// Adds the relationships whose ids are new.
void merge(FoundRelationships& list, FoundRelationships more) {
    std::set<std::u16string> ids;
    for (const Record& record : list.records) {
        ids.insert(record.id);
    }
    for (Record& record : more.records) {
        if (ids.count(record.id) == 0) {
            list.records.push_back(std::move(record));
        }
    }
}

}  // namespace

void FoundLists::read(std::vector<ZipPiece>& pieces) {
    std::map<std::string, Candidates> lists;
    for (ZipPiece& piece : pieces) {
        const bool isTypes = isTypesEntry(piece.name) || isTypesEntry(piece.otherName);
        if (isTypes || isRelationshipsEntry(piece.name)) {
            lists[isTypes ? fold(kTypesEntry) : fold(piece.name)].push_back(&piece);
        }
    }
    for (const auto& [folded, candidates] : lists) {
        isTypesEntry(folded) ? readTypes(candidates) : readRelationships(folded, candidates);
    }
}

void FoundLists::readTypes(const Candidates& candidates) {
    const auto isSound = [](const ZipPiece& piece) { return PartTypes().read(piece.content); };
    bool isFirst = true;
    for (ZipPiece* const each : bestFirst(candidates, isSound)) {
        if (isTypesEntry(each->name)) {
            each->isSpare = !isFirst && (each->isSpare || areTypesWhole_);
        }
        if (!each->isSpare) {
            const bool isSoundList = types_.read(each->content);
            areTypesWhole_ = areTypesWhole_ || (isFirst && isSoundList && each->isCurrent());
        }
        isFirst = false;
    }
}

void FoundLists::readRelationships(const std::string& folded, const Candidates& candidates) {
    const auto isSound = [](const ZipPiece& piece) { return kit::readRelationships(piece.content).isWhole; };
    FoundRelationships all;
    bool isFirst = true;
    for (ZipPiece* const each : bestFirst(candidates, isSound)) {
        each->isSpare = !isFirst && (each->isSpare || all.isWhole);
        if (isFirst) {
            all = kit::readRelationships(each->content);
            all.isWhole = all.isWhole && each->isCurrent();
        } else if (!each->isSpare) {
            merge(all, kit::readRelationships(each->content));
        }
        isFirst = false;
    }
    relationships_[folded] = std::move(all);
}

std::vector<SalvageNote> FoundLists::settleNames(std::vector<ZipPiece>& pieces) {
    knowTargets(pieces);
    PackageNames sure;
    for (const ZipPiece& piece : pieces) {
        if (piece.otherName.empty() && !piece.isSpare && !piece.isOlder) {
            sure.take(piece.name);
        }
    }
    std::vector<SalvageNote> doubts;
    for (ZipPiece& piece : pieces) {
        if (!piece.otherName.empty()) {
            settleName(piece, sure, doubts);
        }
    }
    return doubts;
}

/// @param sure  the names that are settled, none of which another entry can have.
void FoundLists::settleName(ZipPiece& piece, PackageNames& sure, std::vector<SalvageNote>& doubts) {
    const int rank = piece.isSpare || !sure.isFree(piece.name) ? -1 : rankOf(piece.name);
    const int otherRank = sure.isFree(piece.otherName) ? rankOf(piece.otherName) : -1;
    if (rank < otherRank) {
        if (!piece.isSpare) {
            relationships_.erase(fold(piece.name));
        }
        piece.name.swap(piece.otherName);
    }
    // Nothing in the package speaks for one of the two names, so the user is asked to look.
    if (rank == otherRank || std::max(rank, otherRank) == 0) {
        doubts.push_back(
            {"/" + piece.name, "the name /" + piece.name + ", which the file elsewhere gives as /" + piece.otherName});
    }
    piece.isSpare = !sure.take(piece.name);
    reread(piece);
}

/// How well the package knows a name: letter for letter, but for case, or not at all; -1 for what is no name.
int FoundLists::rankOf(const std::string& entry) const {
    const bool isFixed = entry == kTypesEntry || entry == relationshipsEntry("");
    const std::string& name = isRelationshipsEntry(entry) ? sourceOf(entry).substr(1) : entry;
    const bool isExact = isFixed || exact_.count(name) != 0;
    const bool hasControl =
        std::any_of(entry.begin(), entry.end(), [](unsigned char c) { return c < ' ' || c == 127; });
    const int unknown = canBeEntry(entry) && !hasControl ? 0 : -1;
    return isExact ? 2 : isSpokenOf(entry) ? 1 : unknown;
}

void FoundLists::reread(const ZipPiece& piece) {
    if (isRelationshipsEntry(piece.name) && !piece.isSpare) {
        FoundRelationships list = kit::readRelationships(piece.content);
        list.isWhole = list.isWhole && piece.isCurrent();
        relationships_[fold(piece.name)] = std::move(list);
    }
}

void FoundLists::knowTargets(const std::vector<ZipPiece>& pieces) {
    for (const std::string& name : types_.names()) {
        know(name);
    }
    for (const ZipPiece& piece : pieces) {
        const auto list = relationships_.find(fold(piece.name));
        if (list != relationships_.end()) {
            const std::string source = sourceOf(piece.name);
            std::for_each(list->second.records.begin(), list->second.records.end(),
                          [&](const Record& record) { know(targetPartOf(record, source)); });
        }
    }
}

void FoundLists::know(const std::string& partName) {
    if (startsWith(partName, "/")) {
        exact_.insert(partName.substr(1));
        known_.insert(fold(partName.substr(1)));
    }
}

bool FoundLists::isSpokenOf(const std::string& entry) const {
    if (isTypesEntry(entry) || (isRelationshipsEntry(entry) && sourceOf(entry) == "/")) {
        return true;
    }
    return known_.count(fold(isRelationshipsEntry(entry) ? sourceOf(entry).substr(1) : entry)) != 0;
}

const FoundRelationships* FoundLists::of(const std::string& partName) const {
    const auto found = relationships_.find(fold(relationshipsEntry(partName.substr(1))));
    return found == relationships_.end() ? nullptr : &found->second;
}

bool FoundLists::isAnyDamaged() const {
    return std::any_of(relationships_.begin(), relationships_.end(),
                       [](const auto& each) { return each.second.isDamaged(); });
}

bool isTypesEntry(const std::string& entry) { return fold(entry) == fold(kTypesEntry); }

bool isRelationshipsEntry(const std::string& entry) {
    const std::string folded = fold(entry);
    return endsWith(folded, ".rels") && (folded.find("/_rels/") != std::string::npos || startsWith(folded, "_rels/"));
}

std::string sourceOf(const std::string& relationshipsEntry) {
    const std::size_t slash = relationshipsEntry.rfind('/');
    const std::size_t folder = slash == 0 ? 0 : relationshipsEntry.rfind('/', slash - 1) + 1;
    const std::string name = relationshipsEntry.substr(slash + 1, relationshipsEntry.size() - slash - 1 - 5);
    return "/" + relationshipsEntry.substr(0, folder) + name;
}

std::string targetPartOf(const Record& record, const std::string& source) {
    try {
        const URI base(fl::i18n::to_ustring(source));
        return record.isInternal ? PartName(URI(record.target).resolvedAgainst(base)).ascii() : "";
    } catch (const opc::Exception&) {
        return "";
    }
}

bool canBeEntry(const std::string& entry) {
    if (PartName::isValid("/" + entry)) {
        return true;
    }
    try {
        // Without a relationship or a part there is no package that the entry could be added to.
        writeContent({{}, {{documentRelationshipType(), u"/a", u"rId1", true}}, {{entry, {}}}});
        return true;
    } catch (const opc::Exception&) {
        return false;
    }
}

}  // namespace flowbook::kit
