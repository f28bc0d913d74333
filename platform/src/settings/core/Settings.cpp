// A tree of settings that never changes, so that any number of threads may read it.
#include "settings/core/Settings.hpp"

#include "fl/i18n/Conversion.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace settings::core {

Settings::Settings(Values values, Children children) : values_(std::move(values)), children_(std::move(children)) {}

std::shared_ptr<const Settings> Settings::getSettingsByFullName(const std::string& fullName) const {
    const Settings* node = this;
    std::shared_ptr<const Settings> found;
    for (std::size_t start = 0; start <= fullName.size();) {
        const std::size_t end = std::min(fullName.find('.', start), fullName.size());
        const auto child = node->children_.find(fullName.substr(start, end - start));
        if (child == node->children_.end()) {
            return nullptr;
        }
        found = child->second;
        node = found.get();
        start = end + 1;
    }
    return found;
}

template <>
std::u16string Settings::get<std::u16string>(const std::string& name, const std::string& fallback) const {
    const auto value = values_.find(name);
    return value == values_.end() ? fl::i18n::to_ustring(fallback) : value->second;
}

}  // namespace settings::core
