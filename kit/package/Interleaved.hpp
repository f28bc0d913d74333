#pragma once

#include "kit/package/ZipRemains.hpp"

namespace flowbook::kit {

/// Puts parts together that lie in several entries (ECMA-376-2, interleaving): entries of names such as
/// "name/[0].piece" and "name/[1].last.piece" become one of the name "name", which lies where the first of them lay.
/// It is whole when all pieces are there and whole; else it holds what comes before the first that is not, and the
/// pieces behind that stay entries of their own. @returns whether there are any such entries.
bool joinInterleaved(std::vector<ZipPiece>& pieces);

}  // namespace flowbook::kit
