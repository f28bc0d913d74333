#include "opc/pxservices/Utf16Document.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "opc/model/InvalidXMLDocument.hpp"

#include <algorithm>
#include <string_view>

namespace opc::pxservices::detail {
namespace {

constexpr char16_t kMark = 0xFEFF;

bool isLittleEndian(const fl::Bytes& xml) { return xml[0] == 0xFF || xml[1] == 0; }

std::u16string unitsOf(const fl::Bytes& xml) {
    const std::size_t low = isLittleEndian(xml) ? 0 : 1;
    std::u16string units(xml.size() / 2, u'\0');
    for (std::size_t i = 0; i != units.size(); ++i) {
        units[i] = static_cast<char16_t>(xml[2 * i + low] | xml[2 * i + 1 - low] << 8);
    }
    return units;
}

std::string_view withoutDeclaration(std::string_view xml) {
    constexpr std::string_view kStart = "<?xml";
    const bool declared = xml.substr(0, kStart.size()) == kStart && xml.size() > kStart.size() &&
                          std::string_view(" \t\r\n").find(xml[kStart.size()]) != std::string_view::npos;
    const std::size_t end = declared ? xml.find("?>") : std::string_view::npos;
    return end == std::string_view::npos ? xml : xml.substr(end + 2);
}

}  // namespace

bool isUtf16(const fl::Bytes& xml) {
    if (xml.size() < 2) {
        return false;
    }
    const int first = xml[0] << 8 | xml[1];
    return first == 0xFFFE || first == 0xFEFF || first == '<' || first == '<' << 8;
}

fl::Bytes utf8Of(const fl::Bytes& xml, const std::string& where) {
    try {
        const std::u16string units = unitsOf(xml);
        const std::string text = fl::i18n::ustring_to_utf8(units.substr(units[0] == kMark ? 1 : 0));
        if (xml.size() % 2 == 0) {
            const std::string_view rest = withoutDeclaration(text);
            return {rest.begin(), rest.end()};
        }
        throw model::InvalidXMLDocument(where + ": UTF-16 of an odd number of bytes");
    } catch (const fl::i18n::ConversionError& error) {
        throw model::InvalidXMLDocument(where + ": " + error.what());
    }
}

}  // namespace opc::pxservices::detail
