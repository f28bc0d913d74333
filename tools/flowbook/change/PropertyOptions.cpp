#include "change/PropertyOptions.hpp"

#include "terminal/Text.hpp"

namespace flowbook::tool {

void PropertyOptions::addTo(Arguments& command) {
    command.allow("--title", title, "Title");
    command.allow("--description", description, "Description");
    command.allow("--version", version, "Version of the document");
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
