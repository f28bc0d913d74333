#pragma once

#include "kit/compare/Conflicts.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace flowbook::kit {

/// What a flowbook shows before conflicts in it are settled.
struct Shown {
    std::set<std::string> parts;  ///< that relationships lead to, from the package on; folded
    std::set<std::string> ids;    ///< of the relationships that rich code mentions
};

Shown shownBy(const Document& document);

/// Removes the relationships of the code that it mentioned and mentions no more.
/// @param package  open for writing. @throws opc::Exception.
void removeUnmentioned(opc::model::Package& package, const Shown& before);

/// Removes the parts that relationships led to and lead to no more. @param package  likewise.
void removeUnreached(opc::model::Package& package, const Shown& before);

/// Changes which entries that are no parts a package is saved with.
class EntryChanges : public opc::interfaces::IPhysicalPackage {
public:
    /// @param container  outlives the object.
    explicit EntryChanges(opc::interfaces::IPhysicalPackage& container) : container_(container) {}

    void remove(const std::string& name) { changes_[name] = std::nullopt; }
    /// Has an entry hold what another one holds. @throws opc::Exception when that cannot be read.
    void replace(const std::string& name, const std::string& by);

    void open(opc::interfaces::OpenMode mode) override { container_.open(mode); }
    const std::vector<opc::interfaces::PhysicalEntry>& entries() const override { return container_.entries(); }
    fl::Bytes read(std::size_t position) const override { return container_.read(position); }
    void commit(const std::vector<opc::interfaces::PlannedEntry>& plan) override;
    void close() noexcept override { container_.close(); }
    const std::string& displayName() const noexcept override { return container_.displayName(); }
    const opc::Limits& limits() const noexcept override { return container_.limits(); }

private:
    opc::interfaces::IPhysicalPackage& container_;
    std::map<std::string, std::optional<fl::Bytes>> changes_;  ///< the new content by name; nothing removes the entry
};

/// Settles what stands beside the code, and removes what the merge had left beside it.
/// @param package  open for writing, in `entries`. @throws opc::Exception, of kind misuse for a property that cannot
///                 be set.
void settle(opc::model::Package& package, EntryChanges& entries, const OpenConflict& conflict, Side side);

/// Settles what is chosen with the code, once that holds no markers and has no other version beside it: outputs, and
/// relationships that only one side had without a reference. @param side  none where the code is of neither side: what
/// is there stays, without what is double. @param package  likewise.
void settleWithCode(opc::model::Package& package, std::optional<Side> side);

}  // namespace flowbook::kit
