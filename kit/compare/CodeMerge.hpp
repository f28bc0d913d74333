#pragma once

#include "kit/compare/Merge.hpp"
#include "kit/document/References.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// A document part whose code is plain or rich.
struct CodeText {
    bool isPlain = false;
    fl::Bytes document;  ///< UTF-8, also for a part in another encoding
    std::vector<Reference> references;
    std::map<std::string, std::size_t> things;  ///< what each id leads to, by a number that all versions share
};

/// A document in which a mark stands for each reference, so that it does not depend on the ids.
std::string marked(const CodeText& text);

/// The numbers of the things that a marked document refers to, each once, in the order of their first mention.
std::vector<std::size_t> thingsIn(const std::string& marked);

/// The document with ids for its marks.
fl::Bytes unmarked(const std::string& marked, const std::vector<std::string>& ids);

struct MergedCode {
    std::string marked;
    bool isPlain;
    std::vector<MergeConflict> conflicts;  ///< one for each place where markers stand
};

/// Merges documents by paragraph, and by line within paragraphs that hold code. Markup stays as it is written; what
/// differs only in how it is written is no conflict. The markers of a conflict are lines of code: in the paragraph
/// where both sides differ in lines of one paragraph, else in code paragraphs of their own.
/// @param base  null when there is none.
/// @returns nothing when the versions cannot be mixed: malformed, or written with different namespaces.
/// @throws opc::Exception of mergeLines().
std::optional<MergedCode> mergeCode(const CodeText* base, const CodeText& ours, const CodeText& theirs,
                                    const MergeOptions& options);

}  // namespace flowbook::kit
