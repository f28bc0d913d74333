#pragma once

#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/Entries.hpp"

#include <string_view>
#include <vector>

namespace opc::model::detail {

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
