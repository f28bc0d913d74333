#pragma once

#include "kit/compare/LineMerger.hpp"
#include "kit/document/Document.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// Something that both sides changed, each in its own way.
struct MergeConflict {
    std::string what;   ///< "code", the label of a property, or a part name
    std::string words;  ///< what became of it
};

struct MergeResult {
    fl::Bytes flowbook;  ///< a package in the form of writeContent()
    std::vector<MergeConflict> conflicts;
};

/// Merges three versions of a flowbook: code by paragraph and by line, each property, each relationship, and each other
/// part as a whole. Where both sides changed the same, the code has both between markers, and of anything else ours is
/// kept, unless `favour` decides, and the part of theirs is added under a new name. Encrypted code is taken whole, or
/// conflicts whole. Entries that are no parts stay, changed where only theirs changed one. The time of the last
/// modification is the later one.
/// @param base  null when the sides have no ancestor.
/// @throws opc::Exception when one of the files cannot be read whole, and what `lines` throws.
MergeResult merge(const Document* base, const Document& ours, const Document& theirs, const LineMerger& lines,
                  Favour favour);

}  // namespace flowbook::kit
