// Decodes a document before the XML library sees it. That library drops some of what it cannot decode, and a character
// that it drops would make two programs read different code from one file. So encoding errors, lone surrogates and NUL
// are found here, and the parser gets text that is certainly UTF-16.
#include "opc/xml/dom/DocumentText.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "opc/Limits.hpp"
#include "opc/model/InvalidXMLDocument.hpp"

#include <algorithm>
#include <string_view>

namespace opc::model {
namespace {

using Bytes = std::vector<unsigned char>;

/// @param before  the characters in front of the fault.
[[noreturn]] void refuse(const std::string& document, std::u16string_view before, const std::string& fault) {
    const auto line = std::count(before.begin(), before.end(), u'\n') + 1;
    const std::size_t column = before.size() - (before.rfind(u'\n') + 1) + 1;
    throw InvalidXMLDocument(document + " is not well-formed at line " + std::to_string(line) + ", column " +
                             std::to_string(column) + ": " + fault);
}

bool startsWith(const Bytes& bytes, std::string_view start) {
    return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin(), [](char a, auto b) {
               return static_cast<unsigned char>(a) == b;
           });
}

/// Distinguishes UTF-8 and UTF-16 by the mark of byte order, or by the first characters of a declaration (XML 1.0,
/// appendix F).
SourceEncoding encodingOf(const Bytes& bytes) {
    using namespace std::string_view_literals;
    if (startsWith(bytes, "\xFF\xFE") || startsWith(bytes, "<\0?\0"sv)) {
        return SourceEncoding::Utf16LittleEndian;
    }
    return startsWith(bytes, "\xFE\xFF") || startsWith(bytes, "\0<\0?"sv) ? SourceEncoding::Utf16BigEndian
                                                                          : SourceEncoding::Utf8;
}

std::u16string fromUtf16(const Bytes& bytes, bool isBigEndian, const std::string& document) {
    std::u16string characters(bytes.size() / 2, u'\0');
    const std::size_t high = isBigEndian ? 0 : 1;
    for (std::size_t i = 0; i != characters.size(); ++i) {
        characters[i] = static_cast<char16_t>(bytes[2 * i + high] << 8U | bytes[2 * i + 1 - high]);
    }
    if (bytes.size() % 2 != 0) {
        refuse(document, characters, "half a character of UTF-16");
    }
    return characters;
}

std::u16string fromUtf8(const Bytes& bytes, const std::string& document) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    try {
        return fl::i18n::utf8_to_ustring(text);
    } catch (const fl::i18n::ConversionError& error) {
        refuse(document, fl::i18n::utf8_to_ustring(text.substr(0, error.offset())), "bytes that are not UTF-8");
    }
}

bool isHigh(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isLow(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

}  // namespace

void checkSize(std::uint64_t units, const std::string& document) {
    if (units > Limits::kDomBytes / Limits::kDomBytesPerUnit) {
        throw InvalidXMLDocument(ErrorKind::LimitExceeded, document + " is refused: more than " +
                                                               std::to_string(Limits::kDomBytes >> 20) +
                                                               " MB of memory for a tree of it");
    }
}

DocumentText decodeDocument(const std::vector<unsigned char>& bytes, const std::string& document) {
    // A unit of UTF-16 comes from three bytes at most, so that this never refuses too much; the exact size is checked
    // later.
    constexpr std::size_t kMostBytesOfUnit = 3;
    checkSize(bytes.size() / kMostBytesOfUnit, document);
    const SourceEncoding encoding = encodingOf(bytes);
    if (encoding == SourceEncoding::Utf8) {
        return {fromUtf8(bytes, document), encoding};
    }
    return {fromUtf16(bytes, encoding == SourceEncoding::Utf16BigEndian, document), encoding};
}

void checkCharacters(const std::u16string& characters, const std::string& document) {
    const std::u16string_view all = characters;
    for (std::size_t at = 0; at != all.size(); ++at) {
        const char16_t unit = all[at];
        if (isHigh(unit) && at + 1 != all.size() && isLow(all[at + 1])) {
            ++at;
        } else if (isHigh(unit) || isLow(unit)) {
            refuse(document, all.substr(0, at), "half a surrogate pair");
        } else if (unit == u'\0') {
            refuse(document, all.substr(0, at), "a NUL character");
        }
    }
    // The XML library skips one mark of byte order, in the wrong order too, which then has no effect.
    if (!all.empty() && all.front() == u'\uFFFE') {
        refuse(document, {}, "a character that XML forbids");
    }
}

}  // namespace opc::model
