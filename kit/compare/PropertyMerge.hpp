#pragma once

#include "kit/compare/Merge.hpp"
#include "kit/document/Document.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// The properties of a merged flowbook, one by one. What one side lacks or cannot read counts as empty there.
/// @param flowbook   with the properties of ours, or of theirs where ours has none; what theirs alone changed is set.
/// @param conflicts  appended to.
/// @returns the flowbook with the merged properties; unchanged bytes when nothing had to be set.
/// @throws opc::Exception.
fl::Bytes mergeProperties(fl::Bytes flowbook, const Document* base, const Document& ours, const Document& theirs,
                          Favour favour, std::vector<MergeConflict>& conflicts);

}  // namespace flowbook::kit
