#include "terminal/CommandLine.hpp"

#include "terminal/Suggestion.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace flowbook::tool {

namespace {

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names{"help"};
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

/// The first long option that the command does not have; empty when it has them all.
std::string unknownOption(const std::vector<std::string>& arguments, const std::vector<std::string>& known) {
    for (const std::string& argument : arguments) {
        const std::string name = argument.substr(0, argument.find('='));
        const bool isKnown = std::find(known.begin(), known.end(), name) != known.end();
        if (name == "--" || (name.rfind("--", 0) == 0 && !isKnown)) {
            return name == "--" ? "" : name;
        }
    }
    return "";
}

/// "help COMMAND" is "COMMAND --help".
void makeHelpAnOption(std::vector<std::string>& arguments) {
    if (!arguments.empty() && arguments.front() == "help") {
        arguments.erase(arguments.begin());
        arguments.resize(std::min<std::size_t>(arguments.size(), 1));
        arguments.emplace_back("--help");
    }
}

}  // namespace

void Arguments::require(const std::string& name, std::string& value, const std::string& description) {
    command_->add_option(name, value, description)->required();
}

void Arguments::take(const std::string& name, std::vector<std::string>& values, const std::string& description) {
    command_->add_option(name, values, description);
}

void Arguments::allow(const std::string& name, std::optional<std::string>& value, const std::string& description) {
    // CLI11 itself would take an empty value for none at all.
    command_->add_option_function<std::string>(
        name, [&value](const std::string& text) { value = text; }, description);
}

void Arguments::allow(const std::string& name, std::vector<std::string>& values, const std::string& description) {
    command_->add_option(name, values, description)->allow_extra_args(false);
}

void Arguments::allow(const std::string& name, std::string& value, const std::vector<std::string>& choices,
                      const std::string& description) {
    command_->add_option(name, value, description)->check(CLI::IsMember(choices));
}

void Arguments::allow(const std::string& name, std::string& value, const std::string& description) {
    command_->add_option(name, value, description);
}

void Arguments::allow(const std::string& name, unsigned& value, const std::string& description) {
    command_->add_option(name, value, description);
}

void Arguments::flag(const std::string& name, bool& value, const std::string& description) {
    command_->add_flag(name, value, description);
}

void Arguments::exclude(const std::string& name, const std::string& other) {
    command_->get_option(name)->excludes(command_->get_option(other));
}

void Arguments::need(const std::string& name, const std::string& other) {
    command_->get_option(name)->needs(command_->get_option(other));
}

void Arguments::run(std::function<void()> work) { command_->callback(std::move(work)); }

CommandLine::CommandLine(const std::string& name, const std::string& description, const std::string& footer,
                         const std::string& version)
    : app_(std::make_unique<CLI::App>(description, name)) {
    app_->require_subcommand(1);
    app_->footer(footer);
    app_->set_version_flag("--version", version);
}

CommandLine::~CommandLine() = default;

Arguments CommandLine::add(const std::string& name, const std::string& description, const std::string& footer) {
    CLI::App* command = app_->add_subcommand(name, description);
    command->footer(footer);
    return Arguments(*command);
}

std::string CommandLine::wrongArgument(const std::vector<std::string>& arguments, const std::string& otherwise) const {
    const CLI::App& app = *app_;
    const auto commands = app.get_subcommands(
        [&](const CLI::App* each) { return !arguments.empty() && each->get_name() == arguments.front(); });
    const CLI::App* command = commands.empty() ? nullptr : commands.front();
    if (command == nullptr && !arguments.empty() && arguments.front().rfind('-', 0) != 0) {
        return "there is no command '" + arguments.front() + "'" + suggestion(arguments.front(), commandNames(*app_)) +
               " (see flowbook help)";
    }
    const std::string help = command == nullptr ? "" : " " + command->get_name();
    const std::vector<std::string> known = optionNames(command == nullptr ? *app_ : *command);
    const std::string unknown = unknownOption(arguments, known);
    return (unknown.empty() ? otherwise : "there is no option '" + unknown + "'" + suggestion(unknown, known)) +
           " (see flowbook help" + help + ")";
}

void CommandLine::parse(std::vector<std::string> arguments, Console& console) {
    makeHelpAnOption(arguments);
    try {
        app_->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        console.out().write(app_->help());
    } catch (const CLI::CallForVersion& version) {
        console.out().line(version.what());
    } catch (const CLI::ParseError& error) {
        console.report("", {ExitCode::Usage, kindOf(ExitCode::Usage), "", wrongArgument(arguments, error.what())});
    }
}

}  // namespace flowbook::tool
