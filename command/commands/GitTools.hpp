#pragma once

#include "terminal/Console.hpp"

#include <string>

namespace flowbook::tool {

/// The files that git names to a merge tool; `base` may be empty.
struct MergeFiles {
    std::string base, local, remote, merged;
};

/// Has the merge tool that the user had before setup merge the code of a flowbook as texts, and saves its answer in the
/// flowbook that git's merge left. Other files go to that tool as they are. @throws Failure; nothing is changed then.
void runMergeTool(Console& console, const MergeFiles& files);

/// Shows in the browser what changed in a flowbook, or in each flowbook of two folders. Other files, and folders that
/// hold some, go to the user's own tool. @param merged  what git calls the file. @throws Failure.
void runDiffTool(Console& console, const std::string& local, const std::string& remote, const std::string& merged);

}  // namespace flowbook::tool
