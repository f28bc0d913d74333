#pragma once

#include "kit/package/FoundLists.hpp"
#include "kit/package/SalvagedPackage.hpp"

namespace flowbook::kit {

/// Gives the package and its parts the relationships that their lists hold, and guesses where a list is damaged or
/// gone; and empty code in the place of code that is lost, as a flowbook without code cannot be read.
/// @param areAll   whether the package holds all that there was, so that a list that is not there never was.
/// @param hasMore  whether something will be added to the package that is no part yet.
void linkParts(SalvagedPackage& package, const FoundLists& lists, bool areAll, bool hasMore);

}  // namespace flowbook::kit
