#pragma once

#include "terminal/Console.hpp"

namespace flowbook::tool {

enum class GitScope { Local, Global };

/// Has git use this command for flowbooks: how it compares and merges them, in its configuration, and for which files,
/// in its attributes. Prints every line that it writes; what is there already is left alone.
/// @throws Failure.
void setUpGit(Console& console, GitScope scope);

/// Takes back what setUpGit() wrote. @throws Failure.
void undoGitSetup(Console& console, GitScope scope);

}  // namespace flowbook::tool
