#pragma once

#include "kit/package/PackageLists.hpp"
#include "kit/package/Salvage.hpp"
#include "kit/package/ZipRemains.hpp"

namespace flowbook::kit {

class PackageNames;

/// The lists of content types and relationships that were found, which say what parts there were.
class FoundLists {
public:
    /// Reads the lists among the pieces. Of several of one name the one that is whole is taken; the others become
    /// spares, or, where none is whole, add what they hold.
    void read(std::vector<ZipPiece>& pieces);

    /// Decides on the names of the pieces of which the file has two, each in another place: one that the lists speak
    /// of is the right one. @returns in words, which could be settled by nothing.
    std::vector<SalvageNote> settleNames(std::vector<ZipPiece>& pieces);

    const PartTypes& types() const noexcept { return types_; }
    bool areTypesWhole() const noexcept { return areTypesWhole_; }

    /// Whether a list names an entry, or the part whose relationships it holds.
    bool isSpokenOf(const std::string& entry) const;

    /// The relationships that start from a part, or from the package ("/"); null when there is no list of them.
    const FoundRelationships* of(const std::string& partName) const;

    /// Whether a list of relationships is there that is not whole.
    bool isAnyDamaged() const;

private:
    using Candidates = std::vector<ZipPiece*>;

    void readTypes(const Candidates& candidates);
    void readRelationships(const std::string& folded, const Candidates& candidates);
    void reread(const ZipPiece& piece);
    void settleName(ZipPiece& piece, PackageNames& sure, std::vector<SalvageNote>& doubts);
    int rankOf(const std::string& entry) const;
    void know(const std::string& partName);
    void knowTargets(const std::vector<ZipPiece>& pieces);

    bool areTypesWhole_ = false;
    PartTypes types_;
    std::map<std::string, FoundRelationships> relationships_;  ///< by the folded names of their entries
    std::set<std::string> exact_;  ///< the names of the entries that types or relationships speak of
    std::set<std::string> known_;  ///< the same, folded
};

/// Whether an entry is the list of the content types; a list of relationships.
bool isTypesEntry(const std::string& entry);
bool isRelationshipsEntry(const std::string& entry);

/// The part that the relationships in an entry start from; "/" for the package.
std::string sourceOf(const std::string& relationshipsEntry);

/// The part name that a relationship leads to; empty for what leads to none.
std::string targetPartOf(const FlowbookFilePackage::Relationship& record, const std::string& source);

/// Whether a package can hold an entry of this name: a damaged name may hold any bytes.
bool canBeEntry(const std::string& entry);

}  // namespace flowbook::kit
