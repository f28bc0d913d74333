#pragma once

#include "opc/model/RelationshipSource.hpp"

namespace opc::model::detail {

/// Lets the other rooms of this library behind a handle.
class StoreAccess {
public:
    static PackageStore& storeOf(const RelationshipSource& source) noexcept { return source.store(); }
};

}  // namespace opc::model::detail
