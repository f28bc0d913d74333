#pragma once

#include "fl/Bytes.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace flowbook::kit {

/// A change of one paragraph of a rich code document.
struct ParagraphEdit {
    enum class Kind {
        Replace,  ///< gives it another text; of prose, what stays the same keeps its formatting
        Remove,
        Insert  ///< puts a new paragraph before it
    };

    Kind kind;
    std::size_t index;    ///< in RichText::paragraphs, as they are before all edits; one behind the last for Insert
    std::string text{};   ///< UTF-8; what XML cannot hold becomes U+FFFD
    std::string style{};  ///< of a new paragraph: "code" for code, empty for none
};

/// The document with the edits made; all else keeps its bytes. Paragraphs inserted before the same one come in the
/// order of the edits.
/// @throws opc::Exception: Damaged for a malformed document, Misuse for a paragraph that is not there, or stands in a
///         table or box and is to be removed or to get a neighbour, and for edits of paragraphs within each other.
fl::Bytes withParagraphEdits(const fl::Bytes& document, const std::vector<ParagraphEdit>& edits);

}  // namespace flowbook::kit
