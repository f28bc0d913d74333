#pragma once

#include "fl/Bytes.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// Something of a damaged flowbook that is not as it was.
struct SalvageNote {
    std::string part;   ///< the name of the part or other entry that it is about; "/" for the package
    std::string words;  ///< complete: they name the part

    /// The words without the name of the part, where they begin with it.
    std::string message() const {
        const std::string opening = part + ": ";
        return words.rfind(opening, 0) == 0 ? words.substr(opening.size()) : words;
    }
};

std::vector<std::string> wordsOf(const std::vector<SalvageNote>& notes);

/// What could be had of a damaged flowbook.
struct Salvaged {
    std::optional<fl::Bytes> flowbook;  ///< none when nothing was found
    std::vector<std::string> saved;     ///< names of the parts and other entries that are as they were
    std::vector<SalvageNote> rebuilt;   ///< what was lost and made anew, which may be wrong, in words
    std::vector<SalvageNote> lost;      ///< what is not as it was, in words, and where what is left of it is now
    bool isOverLimit = false;           ///< something is lost because a package with it would exceed a limit
};

/// Makes a package of the entries that findEntries() finds in a file, damaged or not. Content types and relationships
/// that are lost are made anew from the names that flowbooks use. What is left of a damaged entry becomes a part below
/// /damaged/, what an older entry of its name holds one below /older/, and what cannot keep its name, as another
/// excludes it (ECMA-376-2, M1.11), or what is of another file that was joined to this one, one below /renamed/; no
/// relationship leads to those. In the place of code that is lost comes empty code, so that the result can be read.
/// What a transfer as text changed (a carriage return before each line feed) is undone where more entries are whole
/// then. The result is in the form of writeContent(), but a file that says the same as it stands stays as it is.
/// @throws std::bad_alloc.
Salvaged salvage(const fl::Bytes& remains);

}  // namespace flowbook::kit
