// Names that are formed rather than constant, and the test for extensions of files.
#include "format/Vocabulary.hpp"

#include "fl/i18n/Conversion.hpp"

namespace flowbook::format {

opc::model::XercesString makeQualifiedName(const std::u16string& prefix, const std::u16string& localName) {
    return opc::model::XercesString(prefix + u":" + localName);
}

}  // namespace flowbook::format

namespace flowbook::detail {

/// The whole name is lower-cased, and not its end: some characters become two, so that the end of the name is not the
/// end of its lower case.
bool hasExtension(const std::u16string& fileName, const std::u16string& extension) {
    if (extension.size() >= fileName.size()) {
        return false;
    }
    const std::u16string lowered = fl::i18n::to_lower(fileName);
    return lowered.size() >= extension.size() &&
           lowered.compare(lowered.size() - extension.size(), extension.size(), extension) == 0;
}

}  // namespace flowbook::detail
