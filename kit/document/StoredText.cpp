#include "kit/document/StoredText.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

enum class ByteForm { Bytes, LittleEndian, BigEndian };

/// By the byte order mark, or by the zero byte of a first character that is ASCII.
ByteForm byteFormOf(const fl::Bytes& stored) {
    const unsigned first = stored.empty() ? 1 : stored[0];
    const unsigned second = stored.size() < 2 ? 1 : stored[1];
    const bool isLittle = (first == 0xFF && second == 0xFE) || (first != 0 && second == 0);
    const bool isBig = (first == 0xFE && second == 0xFF) || (first == 0 && second != 0);
    return isLittle ? ByteForm::LittleEndian : isBig ? ByteForm::BigEndian : ByteForm::Bytes;
}

std::string fromUtf16(const fl::Bytes& stored, std::size_t from, bool isLittle) {
    std::u16string text;
    for (std::size_t at = from & ~std::size_t{1}; at + 1 < stored.size(); at += 2) {
        const unsigned low = stored[at + (isLittle ? 0 : 1)];
        const unsigned high = stored[at + (isLittle ? 1 : 0)];
        text += static_cast<char16_t>(high << 8 | low);
    }
    return fl::i18n::to_string(from == 0 && !text.empty() && text[0] == 0xFEFF ? text.substr(1) : text);
}

/// Finds out that a document can be read.
class NoHandler : public XmlHandler {
public:
    void startElement(const XmlName&, const std::vector<XmlAttribute>&, XmlSpan) override {}
    void endElement(const XmlName&, XmlSpan) override {}
    void characters(std::string_view) override {}
};

/// The declaration of a document, or nothing, that says UTF-8 where it named another encoding.
std::string declaringUtf8(std::string declaration) {
    const std::size_t name = declaration.find("encoding");
    const std::size_t begin = name == std::string::npos ? name : declaration.find_first_of("\"'", name);
    if (begin == std::string::npos) {
        return declaration;
    }
    const std::size_t end = declaration.find(declaration[begin], begin + 1);
    return declaration.replace(begin + 1, end - begin - 1, "UTF-8");
}

}  // namespace

bool isUtf8(const std::string& text) {
    try {
        fl::i18n::utf8_to_ustring(text);
        return true;
    } catch (const fl::i18n::ConversionError&) {
        return false;
    }
}

bool isUtf16(const fl::Bytes& document) { return byteFormOf(document) != ByteForm::Bytes; }

XmlEncoding encodingOf(const fl::Bytes& document) {
    const bool isRead = !isUtf16(document) && isUtf8({document.begin(), document.end()});
    return isRead ? XmlEncoding::Utf8 : XmlEncoding::AsDeclared;
}

fl::Bytes inUtf8(fl::Bytes document, const std::string& where) {
    if (encodingOf(document) == XmlEncoding::Utf8) {
        return document;
    }
    NoHandler handler;
    readXml(document, where, XmlEncoding::AsDeclared, handler);
    const std::string text = textIn(document);
    const std::size_t end = text.compare(0, 5, "<?xml") == 0 ? text.find("?>") : 0;
    const std::string result = declaringUtf8(text.substr(0, end)) + text.substr(end);
    return {result.begin(), result.end()};
}

std::string textIn(const fl::Bytes& stored, std::size_t from) {
    const ByteForm form = byteFormOf(stored);
    if (form != ByteForm::Bytes) {
        return fromUtf16(stored, from, form == ByteForm::LittleEndian);
    }
    const auto begin = stored.begin() + static_cast<std::ptrdiff_t>(std::min(from, stored.size()));
    std::string text(begin, stored.end());
    if (isUtf8(text)) {
        return text;
    }
    return fl::i18n::to_string(std::u16string(begin, stored.end()));
}

}  // namespace flowbook::kit
