#pragma once

#include "fl/Bytes.hpp"
#include "kit/compare/LineMerger.hpp"
#include "kit/document/Document.hpp"

#include <optional>

namespace flowbook::kit {

/// A document part with the form of its code.
struct CodeVersion {
    CodeForm form = CodeForm::None;
    fl::Bytes content;
};

struct MergedCode {
    CodeVersion code;
    bool hasConflicts;
};

/// Merges documents that both sides changed. Plain code is merged by line. Rich code is merged by paragraph, and by
/// line within paragraphs that hold nothing but code; all else of it is kept as it is written. The markers of a
/// conflict become lines of plain code and code paragraphs of rich code.
/// @param base  of the form None when there is none.
/// @returns nothing when the versions cannot be mixed: encrypted, malformed, or written with different namespaces.
/// @throws opc::Exception of the merger.
std::optional<MergedCode> mergeCode(const CodeVersion& base, const CodeVersion& ours, const CodeVersion& theirs,
                                    const LineMerger& merger, Favour favour);

}  // namespace flowbook::kit
