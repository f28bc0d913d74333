#pragma once

#include "opc/model/RelationshipSource.hpp"

namespace opc::model::detail {

/// Lets the other rooms of this library behind a handle.
class StoreAccess {
public:
    static PackageStore& storeOf(const RelationshipSource& source) noexcept { return source.store(); }

    static const std::shared_ptr<PackageStore>& sharedStoreOf(const RelationshipSource& source) noexcept {
        return source.sharedStore();
    }

    /// Of a part.
    static const PartState& stateOf(const RelationshipSource& part) noexcept { return *part.partState(); }
};

}  // namespace opc::model::detail
