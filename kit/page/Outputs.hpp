#pragma once

#include "kit/page/Figures.hpp"

namespace flowbook::kit {

/// Writes the stored outputs of a flowbook as results: the texts, tables and pictures that they hold, and folded below
/// them what is stored. Writes nothing when there are none.
void writeOutputs(Markup& out, const Document& document, Figures& figures, Faults& faults);

}  // namespace flowbook::kit
