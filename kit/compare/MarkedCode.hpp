#pragma once

#include "fl/Bytes.hpp"
#include "kit/compare/Conflicts.hpp"

namespace flowbook::kit {

// Code in which a merge left both versions between markers. A document is plain or rich code as it is stored.

/// Whether all markers of some conflict are there. @throws opc::Exception (damaged) when the code cannot be read.
bool hasMarkers(const fl::Bytes& document);

/// The code without conflict markers and without what the other side has between them: a line of a code paragraph, or
/// a paragraph. All else keeps its bytes; markers that are not complete stay.
/// @throws opc::Exception (damaged) when it cannot be read.
fl::Bytes settledCode(const fl::Bytes& document, Side side);

}  // namespace flowbook::kit
