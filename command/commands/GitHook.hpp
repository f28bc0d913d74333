#pragma once

#include "terminal/Console.hpp"

namespace flowbook::tool {

/// Checks the flowbooks that are about to be committed, as they are staged, and prints what it finds: a finding is a
/// negative one for the exit code. @throws Failure.
void checkStagedFlowbooks(Console& console);

}  // namespace flowbook::tool
