#pragma once

#include "fl/Bytes.hpp"
#include "opc/model/Package.hpp"

#include <boost/optional.hpp>
#include <string>
#include <vector>

namespace opc::pxservices::detail {

/// How a part of properties hangs on a package, which has one of it, or none.
struct PropertyPlace {
    std::vector<std::u16string> relationshipTypes;  ///< a new relationship is of the first
    std::u16string contentType;
    std::u16string folder;  ///< the usual one
    std::u16string name;
};

const PropertyPlace& corePlace();
const PropertyPlace& extensionPlace();

/// The part that the relationships lead to, the first of them that leads to any. Its content type is not looked at:
/// other programs forget it.
boost::optional<model::Part> findPart(const model::Package& package, const PropertyPlace& place);

/// Gives that part new content. Without one, it is made where a relationship leads to already, or else under the usual
/// name or, where that is taken, another one, with a relationship in the place of those that lead nowhere, as there
/// must be no two (M4.1). When it throws, nothing has changed.
void putPart(model::Package& package, const PropertyPlace& place, const fl::Bytes& content);

}  // namespace opc::pxservices::detail
