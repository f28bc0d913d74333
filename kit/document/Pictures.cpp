// Pictures as flowbooks store them: a part holds a data URI, base64 of the picture's bytes. What a picture is its first
// bytes decide, as names and media types are often wrong.
#include "kit/document/Pictures.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <nettle/base64.h>
#include <optional>

namespace flowbook::kit {

namespace {

struct Kind {
    std::string_view extension;
    std::string_view mimeType;
    std::string_view signature;         ///< the first bytes; empty when they vary
    std::string_view laterSignature{};  ///< from byte 8 on
};

constexpr Kind kKinds[] = {{".png", "image/png", "\x89PNG\r\n\x1A\n"},
                           {".jpg", "image/jpeg", "\xFF\xD8\xFF"},
                           {".jpeg", "image/jpeg", "\xFF\xD8\xFF"},
                           {".gif", "image/gif", "GIF8"},
                           {".bmp", "image/bmp", "BM"},
                           {".webp", "image/webp", "RIFF", "WEBP"},
                           {".svg", "image/svg+xml", ""}};

constexpr std::string_view kBase64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kHexDigits = "0123456789abcdef0123456789ABCDEF";
constexpr std::string_view kBase64Mark = ";base64";

bool hasSignature(const Kind& kind, std::string_view picture) {
    return !kind.signature.empty() && startsWith(picture, kind.signature) && picture.size() >= 12 &&
           startsWith(picture.substr(8), kind.laterSignature);
}

const Kind& kindOf(std::string_view picture, const std::string& file) {
    const auto bySignature = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [&](const Kind& kind) { return hasSignature(kind, picture); });
    if (bySignature != std::end(kKinds)) {
        return *bySignature;
    }
    const std::string name = fl::i18n::to_string(fl::i18n::to_lower(fl::i18n::to_ustring(file)));
    const auto byName = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& kind) {
        return kind.signature.empty() && endsWith(name, kind.extension);
    });
    if (byName == std::end(kKinds)) {
        throw opc::Exception(opc::ErrorKind::Damaged, "no PNG, JPEG, GIF, BMP, WebP or SVG picture");
    }
    return *byName;
}

std::string encodeBase64(const fl::Bytes& bytes) {
    std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(text.data(), bytes.size(), bytes.data());
    return text;
}

using DigitTable = std::array<int, 256>;

/// The value of each digit, -1 for what is none.
DigitTable valuesOf(std::string_view digits) {
    DigitTable values;
    values.fill(-1);
    for (std::size_t i = 0; i < digits.size(); ++i) {
        values[static_cast<unsigned char>(digits[i])] = static_cast<int>(i);
    }
    return values;
}

/// The digits of a base64 text, less padding; nothing when its length is wrong.
std::optional<std::string_view> digitsOf(std::string_view text) {
    const std::size_t padding = endsWith(text, "==") ? 2 : endsWith(text, "=") ? 1 : 0;
    return text.size() % 4 == 0 ? std::make_optional(text.substr(0, text.size() - padding)) : std::nullopt;
}

/// Nettle's decoder would pass over blanks, and refuse bits behind the last byte, which other programs write.
bool decodeBase64(std::string_view text, fl::Bytes& bytes) {
    static_assert(std::is_trivially_destructible_v<DigitTable>);
    static const DigitTable values = valuesOf(kBase64Digits);
    const std::optional<std::string_view> digits = digitsOf(text);
    unsigned group = 0;
    unsigned bits = 0;
    for (const char digit : digits.value_or("")) {
        const int value = values[static_cast<unsigned char>(digit)];
        if (value < 0) {
            return false;
        }
        group = (group << 6 | static_cast<unsigned>(value)) & 0xFFFU;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<unsigned char>(group >> bits & 0xFFU));
        }
    }
    return digits.has_value();
}

int hexadecimal(std::string_view text, std::size_t at) {
    const std::size_t value = at < text.size() ? kHexDigits.find(text[at]) : std::string_view::npos;
    return value == std::string_view::npos ? -1 : static_cast<int>(value % 16);
}

bool decodePercents(std::string_view text, fl::Bytes& bytes) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            bytes.push_back(static_cast<unsigned char>(text[at]));
            continue;
        }
        const int high = hexadecimal(text, at + 1);
        const int low = hexadecimal(text, at + 2);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes.push_back(static_cast<unsigned char>(16 * high + low));
        at += 2;
    }
    return true;
}

bool isUnreserved(unsigned char byte) {
    return std::isalnum(byte) != 0 || (byte != 0 && std::strchr("-._~!$&'()*+,;=:@/?", byte) != nullptr);
}

std::string encodePercents(const fl::Bytes& bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        if (byte < 0x80 && isUnreserved(byte)) {
            text += static_cast<char>(byte);
        } else {
            text += {'%', kHexDigits[16 + byte / 16U], kHexDigits[16 + byte % 16U]};
        }
    }
    return text;
}

}  // namespace

bool isDataUri(const fl::Bytes& content) { return startsWith(asText(content), "data:"); }

DataUri readDataUri(const fl::Bytes& content, const std::string& where) {
    const std::string_view uri = asText(content);
    const std::size_t comma = uri.find(',');
    DataUri result;
    result.header = uri.substr(0, comma);
    const auto decode = endsWith(result.header, kBase64Mark) ? decodeBase64 : decodePercents;
    if (!isDataUri(content) || comma == std::string::npos || !decode(uri.substr(comma + 1), result.content)) {
        throw opc::Exception(opc::ErrorKind::Damaged, where + " holds a malformed data URI");
    }
    return result;
}

std::string writeDataUri(const DataUri& uri) {
    const auto encode = endsWith(uri.header, kBase64Mark) ? encodeBase64 : encodePercents;
    return uri.header + "," + encode(uri.content);
}

std::string toDataUri(const fl::Bytes& picture, const std::string& file) {
    const Kind& kind = kindOf(asText(picture), file);
    return writeDataUri({"data:" + std::string(kind.mimeType) + std::string(kBase64Mark), picture});
}

fl::Bytes pictureOf(fl::Bytes content, const std::string& partName) {
    if (isDataUri(content)) {
        return readDataUri(content, "part " + partName).content;
    }
    return content;
}

}  // namespace flowbook::kit
