#pragma once

#include "terminal/Command.hpp"

namespace flowbook::tool {

/// The commands of the program, in the order in which help lists them.
struct CommandList {
    const Command* const* first;
    std::size_t count;

    const Command* const* begin() const { return first; }
    const Command* const* end() const { return first + count; }

    /// @returns null when there is no command of this name.
    const Command* find(std::string_view name) const;

    /// @throws Failure (usage) that says there is none, and which command was probably meant.
    const Command& get(std::string_view name) const;
};

/// Prints what a command does and takes, 80 columns wide.
void printHelp(Sink& out, const Command& command);

/// Prints one line a command.
void printOverview(Sink& out, const CommandList& commands);

/// Prints the table of options as one JSON object a command, which documents are generated from.
void printTable(Sink& out, const CommandList& commands);

}  // namespace flowbook::tool
