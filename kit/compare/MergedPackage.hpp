#pragma once

#include "kit/compare/LinkMatch.hpp"
#include "kit/package/PackageContent.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

inline constexpr std::size_t kNoPart = static_cast<std::size_t>(-1);

/// A relationship of a merged flowbook, whose target's name is not given yet.
struct MergedLink {
    FlowbookFilePackage::Relationship record;
    std::size_t part = kNoPart;  ///< its number; none for what leads to no part
    const Link* from = nullptr;  ///< as it is in one of the versions; null for one that is made here
    std::optional<Trio> late{};  ///< what it leads to, for one whose part is found when all other parts are planned
    // In a conflict:
    std::optional<std::size_t> of{};  ///< the side that has it: it goes when the other one is chosen
    const Link* base = nullptr;       ///< what both began with
    std::size_t rival = kNoPart;      ///< the place in the same list of the one of ours, whose id it then takes
    bool isWithCode = false;          ///< whether it is chosen with the code, and no conflict by itself
};

/// A part of a merged flowbook.
struct MergedPart {
    std::u16string contentType;
    std::u16string name;              ///< as wanted; once names are given, as it is
    bool isOfOurs = false;            ///< whether ours has it under that name
    const Node* node = nullptr;       ///< where the bytes come from
    std::optional<fl::Bytes> made{};  ///< or they are made here
    std::vector<MergedLink> links{};
    std::size_t alternative = kNoPart;  ///< theirs in a conflict, to which all that leads here leads as well
    std::size_t beside = kNoPart;       ///< of theirs in a conflict: the part of ours after which it is named
    bool isOutput = false;              ///< whether theirs is kept among the outputs of code that is in conflict
};

/// An entry of a merged flowbook that is no part.
struct MergedEntry {
    std::string name;
    fl::Bytes content;
    bool isBeside = false;                 ///< whether it is theirs in a conflict over an entry of that name
    std::optional<std::size_t> deleter{};  ///< the side that deleted what the other one changed
    std::string wanted{};                  ///< the name before another one was given
};

/// A flowbook in the making: which parts and relationships there will be, under which names and ids they can.
class MergedPackage {
public:
    std::size_t add(MergedPart part);
    MergedPart& at(std::size_t part) { return parts_[part]; }
    std::size_t size() const noexcept { return parts_.size(); }

    std::vector<MergedLink>& links() noexcept { return links_; }
    std::vector<MergedEntry>& entries() noexcept { return entries_; }

    /// Gives each part and each other entry a name that nothing else has, the wanted one where it can: parts of ours
    /// come first, and entries that are no parts last.
    void giveNames();

    /// Gives relationships ids that no other relationship of the source has.
    static void giveIds(std::vector<MergedLink>& links);

    /// @throws as writeContent().
    fl::Bytes write();

private:
    std::vector<FlowbookFilePackage::Relationship> recordsOf(const std::vector<MergedLink>& links,
                                                             const std::string& source) const;

    void giveEntryNames();

    std::vector<MergedPart> parts_;
    std::vector<MergedLink> links_;
    std::vector<MergedEntry> entries_;
};

}  // namespace flowbook::kit
