#pragma once

#include "kit/document/Document.hpp"
#include "terminal/Option.hpp"
#include "terminal/Text.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::tool {

/// The properties that the command line may set.
struct PropertyOptions {
    std::optional<std::string> title;
    std::optional<std::string> description;
    std::optional<std::string> version;

    bool empty() const { return !title && !description && !version; }

    /// Takes over what `others` have.
    void add(const PropertyOptions& others);

    /// @throws Failure (usage) for text that cannot be a property.
    void check() const;

    /// Whether properties have these values already.
    bool agreeWith(const std::vector<kit::Property>& present) const;

    /// Calls the setters of a writer, or of core properties.
    /// @throws Failure (usage) for text that cannot be a property.
    template <class Target>
    void applyTo(Target& target) const {
        set(title, [&](const std::u16string& text) { target.setTitle(text); });
        set(description, [&](const std::u16string& text) { target.setDescription(text); });
        set(version, [&](const std::u16string& text) { target.setVersion(text); });
    }

private:
    template <class Set>
    static void set(const std::optional<std::string>& value, Set setter) {
        if (value) {
            setter(propertyFromArgument(*value));
        }
    }
};

/// --title, --description and --version, into a PropertyOptions.
template <auto... Members>
constexpr auto kPropertyOptions =
    optionTable(option<Members..., &PropertyOptions::title>("--title", '\0', "TEXT", "Title"),
                option<Members..., &PropertyOptions::description>("--description", '\0', "TEXT", "Description"),
                option<Members..., &PropertyOptions::version>("--version", '\0', "TEXT", "Version of the document"));

}  // namespace flowbook::tool
