#include "terminal/CommandLine.hpp"

#include <CLI/CLI.hpp>

namespace flowbook::tool {

void Arguments::require(const std::string& name, std::string& value, const std::string& description) {
    command_->add_option(name, value, description)->required();
}

void Arguments::require(const std::string& name, std::vector<std::string>& values, const std::string& description) {
    command_->add_option(name, values, description)->required();
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

void Arguments::flag(const std::string& name, bool& value, const std::string& description) {
    command_->add_flag(name, value, description);
}

void Arguments::exclude(const std::string& name, const std::string& other) {
    command_->get_option(name)->excludes(command_->get_option(other));
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

void CommandLine::parse(int argc, char** argv, Console& console) {
    try {
        app_->parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        console.out().write(app_->help());
    } catch (const CLI::CallForVersion& version) {
        console.out().line(version.what());
    } catch (const CLI::ParseError& error) {
        console.report(ExitCode::Usage, std::string(error.what()) + " (see flowbook --help)");
    }
}

}  // namespace flowbook::tool
