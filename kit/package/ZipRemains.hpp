#pragma once

#include "fl/Bytes.hpp"

#include <map>
#include <set>
#include <string>

namespace flowbook::kit {

/// The entries that can be had from a zip file in any state.
struct ZipRemains {
    std::map<std::string, fl::Bytes> whole;  ///< content by name; of several of one name the first that is whole
    std::set<std::string> damaged;           ///< names that headers or index tell and that nothing whole was found for
};

/// Looks for local headers (APPNOTE 6.3, 4.3.7) from start to end, passing over the data of entries that are whole.
/// Entries of more than 1 GiB count as damaged.
ZipRemains findEntries(const fl::Bytes& remains);

}  // namespace flowbook::kit
