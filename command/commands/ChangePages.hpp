#pragma once

#include "kit/page/Changes.hpp"
#include "terminal/Console.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::tool {

/// The page of what changed between two files; "/dev/null" stands for no file, as git has it.
/// @param title  what the page calls the flowbook. @throws Failure when a file cannot be read.
kit::ChangesPage changesBetween(const std::string& title, const std::string& before, const std::string& after);

/// What git has changed: a page for each flowbook, and an index, in a folder.
struct GitChanges {
    std::string range;               ///< as `git diff` takes it
    std::vector<std::string> paths;  ///< all when empty
    std::string folder;
    bool replace = false;  ///< whether pages that somebody changed may be replaced
    bool prune = false;    ///< whether pages of earlier runs are removed whose flowbook did not change in the range
};

/// Pages that would not change are left as they are. Waits until no other run works on the folder. @throws Failure.
void writeGitChanges(Console& console, const GitChanges& changes);

}  // namespace flowbook::tool
