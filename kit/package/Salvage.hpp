#pragma once

#include "fl/Bytes.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// What could be had of a damaged flowbook.
struct Salvaged {
    std::optional<fl::Bytes> flowbook;  ///< in the form of writeContent(); none when nothing was found
    std::vector<std::string> saved;     ///< names of parts and other entries
    std::vector<std::string> rebuilt;   ///< what was lost and made anew from names and contents, in words
    std::vector<std::string> lost;      ///< what was there and is not any more, in words
};

/// Makes a package of the entries of a zip file, or of its remains, that are found by their local headers, inflate to
/// the size and meet the checksum that those tell. The index is only asked for the names of what should be there.
/// Content types and relationships that are lost are made anew from the names that flowbooks use; the ids of
/// pictures are then guesses. @throws std::bad_alloc.
Salvaged salvage(const fl::Bytes& remains);

}  // namespace flowbook::kit
