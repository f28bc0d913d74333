#pragma once

#include "kit/document/Document.hpp"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace flowbook::kit {

// What a merge leaves in a flowbook for what is open: parts, to which relationships of the package lead.
inline constexpr char16_t kConflictType[] = u"http://schemas.pellarion.com/tarmic/code/2013/relationships/conflict";
inline constexpr char kPropertiesPart[] = "/conflicts/properties.json";  ///< both values of properties
inline constexpr char kKeptParts[] = "/conflicts/parts.json";  ///< parts that one side deleted and the other changed
inline constexpr char kTheirOutputs[] = "/conflicts/theirs";   ///< opens the names of outputs that theirs has

enum class Side { Ours, Theirs };

/// Something that a merge left for the user to settle.
struct OpenConflict {
    enum class Kind {
        Code,      ///< both sides stand between markers in the code, or theirs is a part beside it
        Property,  ///< the flowbook has ours; both values are in kPropertiesPart
        Part,      ///< the flowbook has ours; theirs is the part NAME-theirs1 or the like
        Outputs,   ///< of code that is in conflict: the flowbook has ours; theirs is below kTheirOutputs
        Deletion   ///< of a part that the other side changed: the flowbook has it
    };

    Kind kind;
    std::string name;                   ///< of the property or part; empty for code
    std::optional<std::string> ours;    ///< the value of the property, or nothing when it was removed
    std::optional<std::string> theirs;  ///< likewise; of a part, or code in one: the name under which theirs was added
    Side deleter = Side::Ours;          ///< the side that deleted the part
};

/// Code and parts in the order of their names. @throws opc::Exception when the code or the list of properties cannot be
/// read.
std::vector<OpenConflict> openConflicts(const Document& document);

/// The same without those between markers. @throws opc::Exception when the list of properties cannot be read.
std::vector<OpenConflict> openBesideMarkers(const Document& document);

/// The code without conflict markers and without what the other side has between them: a line of a code paragraph, or
/// a paragraph. All else keeps its bytes; markers that are not complete stay.
/// @param document  plain or rich code as it is stored. @throws opc::Exception (damaged) when it cannot be read.
fl::Bytes settledCode(const fl::Bytes& document, Side side);

/// What a flowbook shows before conflicts in it are settled.
struct Shown {
    std::set<std::string> parts;  ///< that relationships lead to, from the package on; folded
    std::set<std::string> ids;    ///< of the relationships that rich code mentions
};

Shown shownBy(const Document& document);

/// Removes the relationships of the code that it mentioned and mentions no more.
/// @param package  open for writing. @throws opc::Exception.
void removeUnmentioned(opc::model::Package& package, const Shown& before);

/// Removes the parts that relationships led to and lead to no more. @param package  likewise.
void removeUnreached(opc::model::Package& package, const Shown& before);

/// Settles a property, a part or outputs, and removes what the merge had left beside it.
/// @param package  open for writing. @throws opc::Exception, of kind misuse for a property that cannot be set.
void settle(opc::model::Package& package, const OpenConflict& conflict, Side side);

}  // namespace flowbook::kit
