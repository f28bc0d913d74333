#pragma once

#include <cstddef>
#include <vector>

namespace flowbook::kit {

/// Lines by numbers: equal lines have the same one.
using LineNumbers = std::vector<std::size_t>;

/// Lines that follow each other in the result of a merge.
struct Hunk {
    bool isConflict = false;
    LineNumbers lines;   ///< merged; of a conflict those of ours
    LineNumbers theirs;  ///< of a conflict only
};

/// Merges three texts line by line, as `git merge-file` does. That program is given the numbers alone, in memory, so no
/// text of the caller's leaves the process.
/// @throws opc::Exception (input/output) when git cannot be run or fails.
std::vector<Hunk> mergeLines(const LineNumbers& base, const LineNumbers& ours, const LineNumbers& theirs);

}  // namespace flowbook::kit
