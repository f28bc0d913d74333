#pragma once

#include "terminal/Console.hpp"
#include "terminal/Option.hpp"

namespace flowbook::tool {

/// A subcommand: its words and its options. There is one constant of this type for each, which Commands.cpp lists.
struct Command {
    /// Does the command's work. @throws Failure and what the kit throws.
    using Run = void (*)(const Command& command, Console& console, const std::vector<std::string>& arguments);

    std::string_view name;
    std::string_view summary;      ///< one sentence without its full stop
    std::string_view description;  ///< paragraphs, parted by empty lines; help breaks their lines
    std::string_view examples;     ///< shell commands, a line each; a line that begins with '#' explains those below it
    std::string_view record;       ///< what a record of --json has even when the work failed: "parts[] properties{}"
    const Option* options;
    std::size_t count;
    Run run;

    const Option* begin() const { return options; }
    const Option* end() const { return options + count; }
};

/// Stores the arguments in the command's struct of options.
/// @param options  what the Into of the command's options are members of.
/// @returns false when help was asked for, and has been printed instead.
/// @throws Failure (usage) that says what is wrong, and names the word that was probably meant.
bool parseArguments(const Command& command, const std::vector<std::string>& arguments, void* options, Console& console);

/// What a command is without its options.
struct CommandText {
    std::string_view name;
    std::string_view summary;
    std::string_view description;
    std::string_view examples;
    std::string_view record = {};
};

/// A command whose arguments are read into an `Arguments`, with which `work` is called.
/// @param Table  the command's options, made by optionTable(); has static storage.
template <class Arguments, const auto& Table, void (*work)(Console&, Arguments&)>
constexpr Command makeCommand(const CommandText& text) {
    static_assert(isConsistent(Table));
    return {text.name,
            text.summary,
            text.description,
            text.examples,
            text.record,
            Table.data(),
            Table.size(),
            [](const Command& command, Console& console, const std::vector<std::string>& arguments) {
                Arguments parsed;
                console.begin(command.name, command.record);
                if (parseArguments(command, arguments, &parsed, console)) {
                    work(console, parsed);
                }
            }};
}

}  // namespace flowbook::tool
