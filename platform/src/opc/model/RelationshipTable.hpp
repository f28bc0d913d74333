#pragma once

#include "opc/model/PartTable.hpp"
#include "opc/relationships/RelationshipList.hpp"

#include <memory>
#include <string_view>

namespace opc::model::detail {

/// The relationships of an open package and of its parts, each list read when it is first asked for.
class RelationshipTable {
public:
    RelationshipTable(const Container& container, PartTable& parts) : container_(container), parts_(parts) {}
    RelationshipTable(const RelationshipTable&) = delete;
    RelationshipTable& operator=(const RelationshipTable&) = delete;

    /// @param source  the state of a handle; null for the package.
    /// @throws opc::model::PartNotFound when there is no such source, opc::Exception when its relationships part is
    ///         malformed.
    RelationshipList& of(PartState* source);

    /// The package's, which have been read once it is open.
    const RelationshipList& ofPackage() const noexcept { return *package_; }

    bool isChanged() const;

private:
    std::unique_ptr<RelationshipList> read(std::string_view sourceName, std::string_view foldedSource) const;

    const Container& container_;
    PartTable& parts_;
    std::unique_ptr<RelationshipList> package_;
};

}  // namespace opc::model::detail
