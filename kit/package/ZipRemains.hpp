#pragma once

#include "fl/Bytes.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// An entry of a zip file in any state.
struct ZipPiece {
    std::string name;        ///< as the index has it, else the entry itself
    std::string otherName;   ///< the name that the entry itself has, where that is another; else empty
    fl::Bytes content;       ///< of an entry that is not whole: as far as it can be read
    bool isWhole = false;    ///< whether the content meets a checksum
    bool isOlder = false;    ///< whether it is whole, but one of the same name that replaced it is damaged
    bool isTooMuch = false;  ///< whether its content was left out, as the package would exceed a limit with it
    /// Whether it lies among the entries that a whole index lists, and is none of them.
    bool isUnlisted = false;
    bool isSpare = false;  ///< whether the index lists another entry of this name, which is rather the right one

    /// Whether it is whole, and none that replaced it is damaged.
    bool isCurrent() const noexcept { return isWhole && !isOlder; }
};

struct ZipRemains {
    std::vector<ZipPiece> pieces;  ///< in the order in which they lie in the file
    /// Entries that are none of these: of a file that was joined to this one, damaged ones as well; or whole ones that
    /// have the same names as others, where no whole index says which counts; or whole ones that the index does not
    /// list, where it lists another that was not found.
    std::vector<ZipPiece> beside;
    bool areAll = false;   ///< whether the index is whole, so that there were no other entries
    bool isSound = false;  ///< whether index and local headers agree, and need nothing that is unusual
};

/// The entries that can be had from a zip file in any state. Where the index is whole, they are those that it lists,
/// each found by any of what index, local header and data descriptor say of it (APPNOTE 6.3, 4.3). Elsewhere they are
/// those whose local headers are found, passing over the data of entries, with those that the remains of the index
/// say; of several of one name the ones that the index lists, else the last. Entries of more than 1 GiB count as
/// damaged. @throws std::bad_alloc.
ZipRemains findEntries(std::string_view file);

}  // namespace flowbook::kit
