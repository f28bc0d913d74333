#pragma once

#include "kit/document/Document.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

// What a merge leaves in a flowbook for what is open: parts, to which relationships of the package lead.
inline constexpr char16_t kConflictType[] = u"http://schemas.pellarion.com/tarmic/code/2013/relationships/conflict";
inline constexpr char kPropertiesPart[] = "/conflicts/properties.json";  ///< both values of properties
/// Parts, and entries that are none, that one side deleted and the other changed, or that are theirs beside ours.
inline constexpr char kKeptParts[] = "/conflicts/parts.json";
/// Relationships of which the other side has none, or has another one in their place.
inline constexpr char kOpenLinks[] = "/conflicts/relationships.json";
inline constexpr char kTheirOutputs[] = "/conflicts/theirs";  ///< opens the names of outputs that theirs has

enum class Side { Ours, Theirs };

/// Something that a merge left for the user to settle.
struct OpenConflict {
    enum class Kind {
        Code,          ///< both sides stand between markers in the code, or theirs is a part beside it
        Property,      ///< the flowbook has ours; both values are in kPropertiesPart
        Part,          ///< the flowbook has ours; theirs is the part NAME-theirs1 or the like
        Outputs,       ///< of code that is in conflict: the flowbook has ours; theirs is below kTheirOutputs
        Relationship,  ///< the flowbook has those of both sides, or the one that only one side has
        Entry,         ///< that is no part: the flowbook has ours; theirs is the entry NAME-theirs1 or the like
        Deletion       ///< of the code, a part or an entry that the other side changed: the flowbook has it
    };

    Kind kind;
    std::string name;  ///< of the property, part, entry or relationship ("SOURCE#ID"); empty for code
    /// The value of the property, or the target of the relationship; nothing when it was removed.
    std::optional<std::string> ours{};
    std::optional<std::string> theirs{};  ///< likewise; else the name under which theirs was added
    Side deleter = Side::Ours;            ///< the side that deleted it
    bool isCode = false;                  ///< whether the part that was deleted is that of the code
    std::vector<std::string> links{};     ///< the relationships that are open, as kOpenLinks has them
};

/// Code and parts in the order of their names. @throws opc::Exception when the code or the list of properties cannot be
/// read.
std::vector<OpenConflict> openConflicts(const Document& document);

/// The same without those between markers. @throws opc::Exception when the list of properties cannot be read.
std::vector<OpenConflict> openBesideMarkers(const Document& document);

/// The parts among them that theirs was added beside, code and outputs included.
std::vector<OpenConflict> openParts(const opc::model::Package& package);

/// "/x/image-theirs1.png" for "/x/image.png".
std::string besideName(const std::string& name, std::size_t number = 1);

}  // namespace flowbook::kit
