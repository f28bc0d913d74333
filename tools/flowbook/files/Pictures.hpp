#pragma once

#include "terminal/Bytes.hpp"

#include <string>

namespace flowbook::tool {

/// A picture as the data URI (RFC 2397) that a flowbook stores.
/// @param file  tells the kind of a picture (by its extension) that its first bytes do not tell.
/// @throws Failure (damaged) for a picture of no known kind.
std::string toDataUri(const Bytes& picture, const std::string& file);

/// The picture in an image part: decoded from a data URI, any other content as it is.
/// @throws Failure (damaged) for a data URI that is malformed.
Bytes pictureOf(Bytes content, const std::string& partName);

}  // namespace flowbook::tool
