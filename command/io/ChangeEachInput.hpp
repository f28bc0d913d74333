#pragma once

#include "io/ForEachInput.hpp"

namespace flowbook::tool {

/// The arguments of a command that changes many files.
struct ChangeOptions {
    InputOptions inputs;
    bool dryRun = false;
    bool quiet = false;
    bool binary = false;
    bool namesChanged = true;  ///< whether --dry-run prints the names of what would be changed
};

/// What is done with each input; called by several threads at once. Changes nothing when `dryRun` is set.
/// @returns whether the input was changed, or would be.
using ChangeWork = std::function<bool(const Input&, Report&)>;

/// Does `work` on each of the inputs, as forEachInput() does, and says how many were changed and how many not, where
/// there are several. With --dry-run the names of those that would be changed are printed. "-" is a filter: what comes
/// by standard input goes, changed, to standard output.
void changeEachInput(Console& console, const ChangeOptions& options, const ChangeWork& work);

}  // namespace flowbook::tool
