#pragma once

#include "terminal/Console.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::tool {

/// What setup is asked for.
struct GitSetup {
    bool isGlobal = false;      ///< for all repositories of the user instead of this one
    bool filter = false;        ///< whether flowbooks are kept stored in the history
    bool stripOutputs = false;  ///< whether the filter leaves outputs out
    bool hook = false;          ///< whether a hook checks what is about to be committed
};

/// Has git use this command for flowbooks: how it compares, merges and filters them, in its configuration, and for
/// which files, in its attributes. Prints every line that it writes; what is there already is left alone, and what the
/// user had in the place of a setting is kept for undoGitSetup(). @throws Failure.
void setUpGit(Console& console, const GitSetup& asked);

/// Takes back what setUpGit() wrote, puts back what it replaced, and removes the texts that git has cached.
/// @throws Failure.
void undoGitSetup(Console& console, const GitSetup& setup);

/// Prints what is missing, one finding a line. @returns whether nothing is. @throws Failure.
bool checkGitSetup(Console& console);

/// What a git command prints, less the line feed at its end; nothing when it fails, whose message is dropped.
std::optional<std::string> askGit(std::vector<std::string> arguments);

/// What a git command prints, less the line feed at its end. @throws Failure when it ends with another code than 0.
std::string requireGit(std::vector<std::string> arguments);

/// @throws Failure where there is none.
void requireRepository();

/// The tool that the user has under a key, such as "merge.tool", or had before setup named this command; empty when
/// there was none.
std::string formerTool(const std::string& key);

}  // namespace flowbook::tool
