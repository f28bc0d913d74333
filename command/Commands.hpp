#pragma once

#include "terminal/CommandLine.hpp"

namespace flowbook::tool {

// Each adds one subcommand, which does its work when `line` is parsed. A new one is a file of its own in
// the room of what users do with it, with a line here and one in addCommands().

void addCatCommand(CommandLine& line, Console& console);
void addGrepCommand(CommandLine& line, Console& console);
void addInfoCommand(CommandLine& line, Console& console);
void addHtmlCommand(CommandLine& line, Console& console);
void addShowCommand(CommandLine& line, Console& console);
void addNewCommand(CommandLine& line, Console& console);
void addSetCommand(CommandLine& line, Console& console);
void addPartsCommand(CommandLine& line, Console& console);
void addExtractCommand(CommandLine& line, Console& console);
void addEditCommand(CommandLine& line, Console& console);
void addPackCommand(CommandLine& line, Console& console);
void addCopyCommand(CommandLine& line, Console& console);
void addDigestCommand(CommandLine& line, Console& console);
void addDiffCommand(CommandLine& line, Console& console);
void addMergeCommand(CommandLine& line, Console& console);
void addGitCommand(CommandLine& line, Console& console);
void addCheckCommand(CommandLine& line, Console& console);
void addCanonCommand(CommandLine& line, Console& console);
void addRepairCommand(CommandLine& line, Console& console);

}  // namespace flowbook::tool
