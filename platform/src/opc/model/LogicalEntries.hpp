#pragma once

#include "opc/interfaces/IPhysicalPackage.hpp"

#include <string>
#include <vector>

namespace opc::model::detail {

/// What one name stands for in a container: an entry, or all the pieces of an interleaved one.
struct LogicalEntry {
    std::string name;  ///< with a leading slash
    std::vector<std::size_t> entries;
};

/// Puts complete sequences of pieces ("name/[0].piece" ... "name/[n].last.piece", ECMA-376-2, 4th edition, 10.1.3)
/// together, in the place of the piece that the index lists first; pieces without a complete
/// sequence stay entries of their own.
std::vector<LogicalEntry> logicalEntries(const std::vector<interfaces::PhysicalEntry>& entries);

}  // namespace opc::model::detail
