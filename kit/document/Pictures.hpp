#pragma once

#include "fl/Bytes.hpp"

#include <string>
#include <string_view>

namespace flowbook::kit {

/// The picture in a data URI (RFC 2397).
struct DataUri {
    std::string header;  ///< up to the comma, "data:" included
    fl::Bytes content;   ///< decoded
};

bool isDataUri(const fl::Bytes& content);

/// @param where  opens the message.
/// @throws opc::Exception (damaged) when it is malformed.
DataUri readDataUri(const fl::Bytes& content, const std::string& where);

/// The text of a data URI: base64 where the header asks for it, else percent-encoded.
std::string writeDataUri(const DataUri& uri);

/// A picture as the data URI that a flowbook stores.
/// @param file  its extension decides the kind of a picture that its first bytes do not show.
/// @throws opc::Exception (damaged) for a picture of no known kind.
std::string toDataUri(const fl::Bytes& picture, const std::string& file);

/// The picture in an image part: decoded from a data URI, any other content as it is.
/// @throws opc::Exception (damaged) for a data URI that is malformed.
fl::Bytes pictureOf(fl::Bytes content, const std::string& partName);

}  // namespace flowbook::kit
