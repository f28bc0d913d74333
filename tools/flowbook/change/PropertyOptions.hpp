#pragma once

#include "flowbook/FlowbookFileWriter.hpp"
#include "terminal/CommandLine.hpp"

#include <optional>
#include <string>

namespace flowbook::tool {

/// The properties that the command line may set.
struct PropertyOptions {
    std::optional<std::string> title;
    std::optional<std::string> description;
    std::optional<std::string> version;

    /// The object must outlive the command's parsing.
    void addTo(Arguments& command);

    bool empty() const { return !title && !description && !version; }

    /// @throws Failure (usage) for text that cannot be a property.
    void applyTo(FlowbookFileWriter& writer) const;
};

}  // namespace flowbook::tool
