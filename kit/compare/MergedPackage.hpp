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
};

/// A flowbook in the making: which parts and relationships there will be, under which names and ids they can.
class MergedPackage {
public:
    std::size_t add(MergedPart part);
    MergedPart& at(std::size_t part) { return parts_[part]; }
    std::size_t size() const noexcept { return parts_.size(); }

    std::vector<MergedLink>& links() noexcept { return links_; }
    std::map<std::string, fl::Bytes>& others() noexcept { return others_; }

    /// Gives each part a name that no other part and no other entry has, the wanted one where it can: parts of ours
    /// come first. Entries that are no parts yield to the parts. @returns the names of the entries that had to.
    std::vector<std::string> giveNames();

    /// Gives relationships ids that no other relationship of the source has.
    static void giveIds(std::vector<MergedLink>& links);

    /// @throws as writeContent().
    fl::Bytes write();

private:
    std::vector<FlowbookFilePackage::Relationship> recordsOf(const std::vector<MergedLink>& links,
                                                             const std::string& source) const;

    std::vector<MergedPart> parts_;
    std::vector<MergedLink> links_;
    std::map<std::string, fl::Bytes> others_;
};

}  // namespace flowbook::kit
