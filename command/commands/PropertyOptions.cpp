#include "commands/PropertyOptions.hpp"

#include "opc/pxservices/CoreProperties.hpp"

#include <algorithm>
#include <map>

namespace flowbook::tool {

void PropertyOptions::add(const PropertyOptions& others) {
    for (const auto member : {&PropertyOptions::title, &PropertyOptions::description, &PropertyOptions::version}) {
        if (others.*member) {
            this->*member = others.*member;
        }
    }
}

void PropertyOptions::check() const {
    opc::pxservices::CoreProperties any;
    applyTo(any);
}

bool PropertyOptions::agreeWith(const std::vector<kit::Property>& present) const {
    const std::map<std::string, std::optional<std::string>> wanted{
        {"title", title}, {"description", description}, {"version", version}};
    return std::all_of(present.begin(), present.end(), [&](const kit::Property& property) {
        const auto found = wanted.find(property.label);
        return found == wanted.end() || !found->second || found->second == property.value;
    });
}

}  // namespace flowbook::tool
