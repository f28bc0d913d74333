#include "format/Vocabulary.hpp"

namespace flowbook::format {

opc::model::XercesString makeQualifiedName(const std::u16string& prefix, const std::u16string& localName) {
    return opc::model::XercesString(prefix + u":" + localName);
}

}  // namespace flowbook::format
