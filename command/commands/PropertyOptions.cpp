#include "commands/PropertyOptions.hpp"

#include <algorithm>
#include <map>

namespace flowbook::tool {

bool PropertyOptions::agreeWith(const std::vector<kit::Property>& present) const {
    const std::map<std::string, std::optional<std::string>> wanted{
        {"title", title}, {"description", description}, {"version", version}};
    return std::all_of(present.begin(), present.end(), [&](const kit::Property& property) {
        const auto found = wanted.find(property.label);
        return found == wanted.end() || !found->second || found->second == property.value;
    });
}

}  // namespace flowbook::tool
