#include "format/Vocabulary.hpp"

#include "fl/i18n/Conversion.hpp"

namespace flowbook::format {

opc::model::XercesString makeQualifiedName(const std::u16string& prefix, const std::u16string& localName) {
    return opc::model::XercesString(prefix + u":" + localName);
}

}  // namespace flowbook::format

namespace flowbook::detail {

bool hasExtension(const std::u16string& fileName, const std::u16string& extension) {
    if (extension.size() >= fileName.size()) {
        return false;
    }
    // No more than that: the rest of a name may need tables to be loaded.
    return fl::i18n::to_lower(fileName.substr(fileName.size() - extension.size())) == extension;
}

}  // namespace flowbook::detail
