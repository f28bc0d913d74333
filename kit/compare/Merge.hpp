#pragma once

#include "kit/compare/ThreeWay.hpp"
#include "kit/document/Document.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

enum class ConflictKind { Code, Property, Part, Relationship, Entry };

/// "code", "property", "part", "relationship" or "entry".
const char* nameOf(ConflictKind kind);

/// Something that both sides changed, each in its own way.
struct MergeConflict {
    ConflictKind kind = ConflictKind::Code;
    std::string what;   ///< "code", the label of a property, a part name, a source with the id, or the entry's name
    std::string words;  ///< what became of it
    /// The values, as far as they are text: lines of code, a property, a target. None for one that is not there.
    std::optional<std::string> base{}, ours{}, theirs{};
};

/// What becomes of outputs that both sides made anew.
enum class Outputs {
    OfCode,  ///< those of the side whose code the merged code is; of ours where it is neither's
    Ours,
    Theirs,
    Drop,     ///< none, as running the code makes them again
    Conflict  ///< ours, with the others beside them, and a conflict
};

struct MergeOptions {
    Favour favour = Favour::None;
    std::optional<Outputs> outputs{};  ///< none: as the favour says, else OfCode
    std::string oursLabel = "ours";    ///< in the markers
    std::string theirsLabel = "theirs";
};

struct MergeResult {
    fl::Bytes flowbook;  ///< a package in the form of writeContent()
    std::vector<MergeConflict> conflicts;
    std::vector<std::string> notes;  ///< what was decided without being a conflict, such as whose outputs are kept
};

/// Merges three versions of a flowbook. What is compared is what they show: a reference in rich code counts as what it
/// leads to, under any id and part name, and in the result it leads there again, under a fresh id or part
/// name where both sides use one for different things. Code is merged by paragraph and by line, properties one by one,
/// every other relationship together with its part. Where both sides changed the same, the code has both between
/// markers, and of anything else ours is kept, unless the favour decides: a part of theirs is added beside it as
/// NAME-theirs1, and properties of both sides stand in the part /conflicts/properties.json. What one side deleted and
/// the other changed is kept, part and relationship. Encrypted code is taken whole, or conflicts whole, with the
/// pictures of both sides, and so does code around whose paragraphs both sides changed something. Entries that are no
/// parts are merged whole. The time of the last
/// modification is the later one. What is left open, openConflicts() finds in the result.
/// @param base  null when the sides have no ancestor.
/// @throws opc::Exception when one of the files cannot be read whole, or git cannot be run.
MergeResult merge(const Document* base, const Document& ours, const Document& theirs, const MergeOptions& options = {});

}  // namespace flowbook::kit
