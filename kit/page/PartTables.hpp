#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"

namespace flowbook::kit {

/// The stored outputs of a flowbook, folded; nothing when there are none.
void writeOutputs(Markup& out, const Document& document, Faults& faults);

/// The parts and relationships of a flowbook, folded.
void writePartTables(Markup& out, const Document& document, Faults& faults);

}  // namespace flowbook::kit
