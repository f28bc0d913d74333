#pragma once

#include "terminal/Console.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace flowbook::tool {

/// What one subcommand takes. Nothing here shows CLI11, whose headers take longer to compile than the rest of a
/// command.
///
/// Names are as CLI11 has them: "FILE" for a place on the command line, "-d,--directory" for an option. The variables
/// must live as long as the command line.
class Arguments {
public:
    explicit Arguments(CLI::App& command) : command_(&command) {}

    void require(const std::string& name, std::string& value, const std::string& description);
    /// As many as there are.
    void take(const std::string& name, std::vector<std::string>& values, const std::string& description);
    /// An option whose value may be empty, which is not the same as no option.
    void allow(const std::string& name, std::optional<std::string>& value, const std::string& description);
    /// An option that may be repeated and takes one value each time.
    void allow(const std::string& name, std::vector<std::string>& values, const std::string& description);
    /// An option that takes one of the `choices`.
    void allow(const std::string& name, std::string& value, const std::vector<std::string>& choices,
               const std::string& description);
    void allow(const std::string& name, std::string& value, const std::string& description);
    void allow(const std::string& name, unsigned& value, const std::string& description);
    void flag(const std::string& name, bool& value, const std::string& description);
    /// Makes it a fault of usage to give both options.
    void exclude(const std::string& name, const std::string& other);

    /// Makes it a fault of usage to give the option without the other.
    void need(const std::string& name, const std::string& other);

    /// What is done once the command line has been found to be right.
    void run(std::function<void()> work);

private:
    CLI::App* command_;
};

/// The command line of a program with subcommands.
class CommandLine {
public:
    CommandLine(const std::string& name, const std::string& description, const std::string& footer,
                const std::string& version);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// @param footer  what stands below the options in the help of the command.
    Arguments add(const std::string& name, const std::string& description, const std::string& footer);

    /// Runs the command that the arguments name, or prints what they ask for, or reports what is wrong with them.
    void parse(std::vector<std::string> arguments, Console& console);

private:
    std::string wrongArgument(const std::vector<std::string>& arguments, const std::string& otherwise) const;

    std::unique_ptr<CLI::App> app_;
};

}  // namespace flowbook::tool
