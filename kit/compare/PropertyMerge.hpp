#pragma once

#include "fl/Bytes.hpp"
#include "kit/compare/Merge.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

struct PropertyConflict {
    MergeConflict report;
    std::string element;                ///< the name that no other element of the part has
    std::optional<std::string> theirs;  ///< its XML as theirs has it, which stands in any part of properties
};

struct MergedProperties {
    fl::Bytes content;
    std::vector<PropertyConflict> conflicts;  ///< reported for any favour
};

/// Merges the elements of core properties, or of another part of that shape, one by one. The time of the last
/// modification is the later one; any other element that both sides changed is kept as ours has it, or as the favoured
/// side has it, and one that one side removed and the other changed is kept. All else stays as ours has it.
/// @param base           null when there is none.
/// @param isTheirsLater  whether theirs was modified later.
/// @returns nothing when one of the parts cannot be read; UTF-8 else, also of parts in another encoding.
std::optional<MergedProperties> mergeProperties(const fl::Bytes* base, const fl::Bytes& ours, const fl::Bytes& theirs,
                                                bool isTheirsLater, Favour favour);

/// A part of properties with the XML of one of its elements in the place of what it has there, added where it has none.
/// @param element  as in PropertyConflict. @param xml  none removes the element.
/// @returns nothing when the part cannot be read; UTF-8 else.
std::optional<fl::Bytes> withElement(const fl::Bytes& properties, const std::string& element,
                                     const std::optional<std::string>& xml);

}  // namespace flowbook::kit
