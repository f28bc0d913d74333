#include "inputs/CodeText.hpp"

#include "fl/i18n/Conversion.hpp"

namespace flowbook::tool {

std::string readCodeText(const FlowbookFileReader& reader) {
    std::string code = fl::i18n::to_string(reader.getTARMICCode());
    if (!code.empty() && code.back() != '\n') {
        code += '\n';
    }
    return code;
}

}  // namespace flowbook::tool
