#pragma once

#include "fl/Bytes.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/RelationshipTable.hpp"

#include <deque>
#include <vector>

namespace opc::model::detail {

/// What a changed package is to be written as.
struct CommitPlan {
    std::vector<interfaces::PlannedEntry> entries;
    std::deque<fl::Bytes> xml;  ///< what entries points at, besides contents of parts; a deque never moves its elements
};

/// Plans the content types first, then the package's relationships, then the part that the package is about, so that a
/// program which looks at the first bytes only sees what the file is. Everything else follows in its old order, new
/// parts last, each followed by its relationships. What was not changed is carried over. The plan is valid as long as
/// the package does not change. @throws opc::Exception for package XML beyond the limits.
CommitPlan planCommit(const Container& container, const PartTable& parts, const RelationshipTable& relationships);

}  // namespace opc::model::detail
