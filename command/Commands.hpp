#pragma once

#include "terminal/Command.hpp"
#include "terminal/Help.hpp"

namespace flowbook::tool {

// A new subcommand is a file of its own in commands/, which defines one of these, and a place in Commands.cpp.

extern const Command kCat;
extern const Command kGrep;
extern const Command kInfo;
extern const Command kParts;
extern const Command kExtract;
extern const Command kHtml;
extern const Command kShow;
extern const Command kNew;
extern const Command kSet;
extern const Command kEdit;
extern const Command kPack;
extern const Command kCopy;
extern const Command kDigest;
extern const Command kDiff;
extern const Command kMerge;
extern const Command kResolve;
extern const Command kGit;
extern const Command kCheck;
extern const Command kCanon;
extern const Command kStrip;
extern const Command kRepair;
extern const Command kReplace;
extern const Command kLs;
extern const Command kImport;
extern const Command kHelp;

/// All of them, in the order in which help lists them.
CommandList allCommands();

}  // namespace flowbook::tool
