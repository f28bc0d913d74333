#pragma once

#include "opc/model/Package.hpp"

namespace opc::model {

class PXPLATFORM_EXPORT PackageHelper {
public:
    PackageHelper() = delete;

    /// Removes all relationships of a type from the package, and the parts they lead to, with those
    /// parts' own relationships. An external relationship is just removed; a target that is gone
    /// already, or that is no part name, is no error; relationships that others hold to a deleted part
    /// stay as they are. @throws opc::Exception; what had been removed by then stays removed.
    static void deleteRelationshipsAndTargets(Package& package, const std::u16string& type);

    /// As above, for the relationships of a part, which is left when it refers to itself.
    static void deleteRelationshipsAndTargets(Package& package, const Part& source, const std::u16string& type);
};

}  // namespace opc::model
