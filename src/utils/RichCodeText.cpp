#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "utils/CodeDom.hpp"
#include "utils/CodeScan.hpp"

#include <vector>

namespace flowbook {

namespace {

/// None for text that is no Unicode text.
std::optional<std::u16string> scanText(const std::u16string& richCode) {
    try {
        return detail::scanForCode(fl::i18n::ustring_to_utf8(richCode));
    } catch (const fl::i18n::ConversionError&) {
        return std::nullopt;
    }
}

}  // namespace

std::u16string FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(const std::u16string& richCode) {
    std::optional<std::u16string> code = scanText(richCode);
    return code ? std::move(*code) : detail::codeByDom(richCode);
}

std::u16string FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(opc::InputStream& richCodeStream) {
    std::vector<unsigned char> bytes;
    opc::ByteArrayOutAdaptor out(bytes);
    opc::StreamHelper::copyStreamToStream(richCodeStream, out);
    if (auto code = detail::scanForCode({reinterpret_cast<const char*>(bytes.data()), bytes.size()})) {
        return std::move(*code);
    }
    opc::ByteArrayInAdaptor again(bytes);
    return detail::codeByDom(again);
}

}  // namespace flowbook
