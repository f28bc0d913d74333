#pragma once

#include "opc/model/ExcludeMode.hpp"
#include "opc/model/Relationship.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace opc::model {

namespace detail {
class PackageStore;
class StoreAccess;
struct PartState;
}  // namespace detail

/// What relationships start from: a package or a part. All functions throw opc::Exception when the
/// package is not open, or when the source's relationships part, which the first call reads, is
/// malformed. Lists are in the order of the relationships part, new ones last.
class PXPLATFORM_EXPORT RelationshipSource {
public:
    std::vector<Relationship> getRelationships(ExcludeMode exclude) const;

    /// Types compare exactly, code unit by code unit.
    std::vector<Relationship> getRelationshipsByType(const std::u16string& type) const;

    /// @param target  stored as given. It need not exist.
    /// @param id      an NCName that this source does not use yet; empty for a fresh one ("rId1", ...),
    ///                which gives way to another when a later call asks for just that id.
    /// @throws opc::Exception also when the package is open for reading only.
    Relationship createInternalRelationship(const std::u16string& type, const URI& target, const std::u16string& id);

    /// As above, for a target outside the package.
    Relationship createExternalRelationship(const std::u16string& type, const std::u16string& target,
                                            const std::u16string& id);

    /// As both above, with a target that is stored as it stands and need be no URI reference: what cannot be
    /// followed can so be carried from one package to another.
    Relationship carryRelationship(const std::u16string& type, const std::u16string& target, TargetMode mode,
                                   const std::u16string& id);

    /// @throws opc::Exception when there is no such relationship.
    void deleteRelationship(const std::u16string& id);

    /// Deletes this relationship, also when it has another id by now, and no other that has its id.
    /// @throws opc::Exception when it is not of this source, or deleted already.
    void deleteRelationship(const Relationship& relationship);

    /// Removes all relationships of a type; their targets stay.
    void deleteRelationshipsByType(const std::u16string& type);

protected:
    /// @param part  null for the package.
    RelationshipSource(std::shared_ptr<detail::PackageStore> store, std::shared_ptr<detail::PartState> part) noexcept
        : store_(std::move(store)), part_(std::move(part)) {}
    RelationshipSource(const RelationshipSource&) = default;
    RelationshipSource(RelationshipSource&&) = default;
    RelationshipSource& operator=(const RelationshipSource&) = default;
    RelationshipSource& operator=(RelationshipSource&&) = default;
    ~RelationshipSource() = default;

    detail::PackageStore& store() const noexcept { return *store_; }
    const std::shared_ptr<detail::PackageStore>& sharedStore() const noexcept { return store_; }
    void setStore(std::shared_ptr<detail::PackageStore> store) noexcept { store_ = std::move(store); }
    detail::PartState* partState() const noexcept { return part_.get(); }
    const std::shared_ptr<detail::PartState>& sharedPartState() const noexcept { return part_; }

private:
    friend class detail::StoreAccess;

    std::shared_ptr<detail::PackageStore> store_;
    std::shared_ptr<detail::PartState> part_;
};

}  // namespace opc::model
