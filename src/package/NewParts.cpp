// The contents of parts that a new flowbook begins with.
#include "package/NewParts.hpp"

#include "fl/i18n/Conversion.hpp"
#include "format/XmlTemplates.hpp"
#include "settings/standalone/SettingsRoot.hpp"

namespace flowbook::detail {
namespace {

/// Returns the layout of new outputs that the user prefers. A setting that is missing or empty means the default.
std::string preferredLayout() {
    const auto root = settings::standalone::getSettingsRoot();
    const auto node = root == nullptr ? nullptr : root->getSettingsByFullName(format::kDisplaySettingsNode);
    if (node == nullptr) {
        return format::kDefaultLayout;
    }
    const auto view = node->get<std::u16string>(format::kDefaultViewSetting, "");
    return view.empty() ? format::kDefaultLayout : fl::i18n::to_string(view);
}

}  // namespace

std::string output_part::replaceLayout(const std::string& layout) {
    static const std::size_t position = format::kEmptyOutputXml.find(format::kLayoutPlaceholder);
    std::string xml = format::kEmptyOutputXml;
    xml.replace(position, format::kLayoutPlaceholder.size(), layout);
    return xml;
}

std::string makeEmptyOutputXml() { return output_part::replaceLayout(preferredLayout()); }

std::string emptyStylesXml() { return format::kEmptyStylesXml; }

}  // namespace flowbook::detail
