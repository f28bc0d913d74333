#pragma once

#include "flowbook/FlowbookFileWriter.hpp"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace flowbook::tool {

/// Has `option` keep its value in `value`. CLI11 itself would take an empty value for none at all.
CLI::Option* addOptionalText(CLI::App& command, const std::string& option, std::optional<std::string>& value,
                             const std::string& description);

/// The properties that the command line may set.
struct PropertyOptions {
    std::optional<std::string> title;
    std::optional<std::string> description;
    std::optional<std::string> version;

    /// The object must outlive the command's parsing.
    void addTo(CLI::App& command);

    bool empty() const { return !title && !description && !version; }

    /// @throws Failure (usage) for text that cannot be a property.
    void applyTo(FlowbookFileWriter& writer) const;
};

}  // namespace flowbook::tool
