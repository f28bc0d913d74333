#pragma once

#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/PackageStore.hpp"

#include <deque>
#include <string>
#include <vector>

namespace opc::model::detail {

/// What a changed package is to be written as: the content types first, then the package's relationships, then
/// the part that the package is about, so that whoever looks at the first bytes only sees what the file
/// is; then everything else in its old order, new parts last, each followed by its relationships. What was
/// not changed is carried over.
class CommitPlan {
public:
    /// The store must not change as long as the plan is used. @throws opc::Exception for package XML beyond the
    ///         limits.
    explicit CommitPlan(PackageStore& store);

    const std::vector<interfaces::PlannedEntry>& entries() const noexcept { return entries_; }

private:
    using Entries = PackageStore::Entries;
    using Bytes = PackageStore::Bytes;

    void assignRelationshipsType(const SourceState& state, const std::string& sourceName);
    Entries oldEntries(const std::string& name) const;

    void addContentTypes();
    void addPackageRelationships();
    void addLeadingPart();
    void addOldEntries();
    void addPart(std::size_t position);
    /// Unchanged ones are left to addOldEntries().
    void addChangedRelationships(const SourceState& state, const std::string& sourceName);
    void addXml(const std::string& name, Bytes xml);
    void add(const Bytes& content, const std::string& name, interfaces::CompressionType compression);
    void carry(const Entries& entries);
    void markDone(const Entries& entries);

    PackageStore& store_;
    std::vector<interfaces::PlannedEntry> entries_;
    std::deque<Bytes> xml_;  ///< what entries_ points at
    std::vector<bool> entryDone_;
    std::vector<bool> partDone_;
};

}  // namespace opc::model::detail
