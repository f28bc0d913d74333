#include "change/PropertyOptions.hpp"

#include "terminal/Text.hpp"

namespace flowbook::tool {

CLI::Option* addOptionalText(CLI::App& command, const std::string& option, std::optional<std::string>& value,
                             const std::string& description) {
    return command.add_option_function<std::string>(
        option, [&value](const std::string& text) { value = text; }, description);
}

void PropertyOptions::addTo(CLI::App& command) {
    addOptionalText(command, "--title", title, "Title");
    addOptionalText(command, "--description", description, "Description");
    addOptionalText(command, "--version", version, "Version of the document");
}

void PropertyOptions::applyTo(FlowbookFileWriter& writer) const {
    if (title) {
        writer.setTitle(propertyFromArgument(*title));
    }
    if (description) {
        writer.setDescription(propertyFromArgument(*description));
    }
    if (version) {
        writer.setVersion(propertyFromArgument(*version));
    }
}

}  // namespace flowbook::tool
