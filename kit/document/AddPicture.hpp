#pragma once

#include "fl/Bytes.hpp"
#include "opc/model/Package.hpp"

#include <string>

namespace flowbook::kit {

/// @throws opc::Exception (misuse, damaged) for a media type that is none of pictures.
void checkPictureType(const std::string& mediaType);

/// The name of the new part, and the id of the relationship that leads to it.
struct AddedPicture {
    std::string part;
    std::string relationship;
};

/// Adds a picture as a flowbook stores it: a part under /media whose content is a data URI, and a relationship of the
/// part that holds the code to it.
/// @param package    open for writing. @param mediaType  such as "image/png".
/// @throws opc::Exception, also as checkPictureType().
AddedPicture addPicture(opc::model::Package& package, const std::string& mediaType, const fl::Bytes& picture);

}  // namespace flowbook::kit
