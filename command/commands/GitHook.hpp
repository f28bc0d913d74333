#pragma once

#include "terminal/Console.hpp"

#include <string>

namespace flowbook::tool {

/// Checks the flowbooks that are about to be committed, as they are staged, and prints what it finds: a finding is a
/// negative one for the exit code. @throws Failure.
void checkStagedFlowbooks(Console& console);

/// The files that git names to a merge tool; all but `merged` may be absent or empty.
struct MergeFiles {
    std::string base, local, remote, merged;
};

/// Has the merge tool that the user had before setup merge the code of a flowbook as texts, and saves its answer in the
/// flowbook that git's merge left. Other files go to that tool as they are. @throws Failure; nothing is changed then.
void runMergeTool(Console& console, const MergeFiles& files);

}  // namespace flowbook::tool
