#pragma once

#include "opc/interfaces/IPhysicalPackage.hpp"

#include <cstddef>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// Places in a container's list of entries, in the order of their contents: one for most names, several for what lies
/// in pieces, none for what is new. A view of the order that logicalEntries() makes.
class Entries {
public:
    Entries() = default;
    Entries(const std::size_t* first, std::size_t count) : first_(first), count_(count) {}

    const std::size_t* begin() const noexcept { return first_; }
    const std::size_t* end() const noexcept { return first_ + count_; }
    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    std::size_t operator[](std::size_t at) const noexcept { return first_[at]; }

    /// Whether they are the same view.
    bool operator==(const Entries& other) const noexcept { return first_ == other.first_ && count_ == other.count_; }
    bool operator!=(const Entries& other) const noexcept { return !(*this == other); }

private:
    const std::size_t* first_ = nullptr;
    std::size_t count_ = 0;
};

/// What one name stands for in a container: an entry, or all the pieces of an interleaved one.
struct LogicalEntry {
    std::string_view name;  ///< without a leading slash, as the entry has it
    Entries entries;
};

/// Puts complete sequences of pieces ("name/[0].piece" ... "name/[n].last.piece", ECMA-376-2, 4th edition, 10.1.3)
/// together, in the place of the piece that the index lists first; pieces without a complete
/// sequence stay entries of their own.
/// @param entries  outlive the names in the result.
/// @param order    gets the places of all entries, and outlives the views in the result.
std::vector<LogicalEntry> logicalEntries(const std::vector<interfaces::PhysicalEntry>& entries,
                                         std::vector<std::size_t>& order);

}  // namespace opc::model::detail
