// Rich code, as bytes and as text, gives plain code or is said to be no XML document, and what is found without the DOM
// is what the DOM has.
#include "RichCodeCheck.hpp"
#include "flowbook/FlowbookFileUtils.hpp"

using flowbook::FlowbookFileUtils;
using fuzzing::require;
using fuzzing::succeeds;
using opc::model::InvalidXMLDocument;

namespace {

void checkEncoding(const std::u16string& text) {
    const std::u16string encoded = FlowbookFileUtils::encodeControlCharacters(text);
    require(encoded.size() == text.size(), "encoding keeps the length");
    for (std::size_t i = 0; i != text.size(); ++i) {
        const char16_t c = text[i];
        const bool isForbidden =
            (c < 0x20 && c != '\t' && c != '\n' && c != '\r') || (c >= 0x7F && c <= 0x9F) || c == 0x200B || c >= 0xFFFE;
        require(encoded[i] == (isForbidden ? u'\uFFFD' : c), "encoding replaces the forbidden units only");
    }
}

void checkBytes(const std::vector<unsigned char>& bytes) {
    const std::string utf8(bytes.begin(), bytes.end());
    std::u16string text, fromText, fromBytes;
    const bool isText =
        succeeds<fl::i18n::ConversionError>([&] { text = fl::i18n::utf8_to_ustring(utf8); }) &&
        succeeds<InvalidXMLDocument>([&] { fromText = FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(text); });
    opc::ByteArrayInAdaptor stream(bytes);
    const bool isStream =
        succeeds<InvalidXMLDocument>([&] { fromBytes = FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream); });
    require(!isText || !isStream || fromText == fromBytes, "bytes and text give the same code");
    // The declaration of an encoding counts for bytes only: text has been decoded already.
    const bool declaresEncoding = utf8.find("encoding") != std::string::npos;
    require(!isText || isStream || declaresEncoding, "bytes are refused only where text is");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    checkBytes({data, data + size});
    fuzzing::checkScan({reinterpret_cast<const char*>(data), size});
    const std::u16string text = fuzzing::units(data, size);
    checkEncoding(text);
    succeeds<InvalidXMLDocument>([&] { FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(text); });
    return 0;
}
