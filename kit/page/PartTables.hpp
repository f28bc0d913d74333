#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"

namespace flowbook::kit {

/// The parts and relationships of a flowbook, folded.
void writePartTables(Markup& out, const Document& document, Faults& faults);

}  // namespace flowbook::kit
