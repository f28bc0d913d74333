#pragma once

#include "opc/interfaces/IPhysicalPackage.hpp"

#include <string>
#include <vector>

namespace opc::model::detail {

/// What one name stands for in a container: an item, or all the pieces of an interleaved one.
struct LogicalItem {
    std::string name;  ///< with a leading slash
    std::vector<std::size_t> items;
};

/// Puts complete sequences of pieces ("name/[0].piece" ... "name/[n].last.piece", ECMA-376-2, 4th edition, 10.1.3)
/// together, in the place of the piece that the index lists first; pieces without a complete
/// sequence stay items of their own.
std::vector<LogicalItem> logicalItems(const std::vector<interfaces::PhysicalItem>& items);

}  // namespace opc::model::detail
