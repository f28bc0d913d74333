#pragma once

#include "fl/PlatformExport.hpp"

#include <map>
#include <memory>
#include <string>

namespace settings::core {

/// One node of the settings tree: named values and named child nodes. Immutable; safe to read from
/// several threads.
class PXPLATFORM_EXPORT Settings {
public:
    using Values = std::map<std::string, std::u16string>;
    using Children = std::map<std::string, std::shared_ptr<const Settings>>;

    Settings(Values values, Children children);

    /// The node that a dotted name leads to from here; empty when there is none.
    std::shared_ptr<const Settings> getSettingsByFullName(const std::string& fullName) const;

    /// The value of a setting of this node, or of one that is not set the text of `fallback`.
    /// Instantiated for std::u16string.
    template <class T>
    T get(const std::string& name, const std::string& fallback) const;

private:
    Values values_;
    Children children_;
};

template <>
PXPLATFORM_EXPORT std::u16string Settings::get<std::u16string>(const std::string& name,
                                                               const std::string& fallback) const;

}  // namespace settings::core
