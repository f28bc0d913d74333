#include "files/Pictures.hpp"

#include "fl/i18n/Conversion.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>

namespace flowbook::tool {

using namespace std::string_view_literals;

namespace {

struct Kind {
    std::string_view extension;
    std::string_view mimeType;
    std::string_view signature;         ///< the first bytes; empty when they tell nothing
    std::string_view laterSignature{};  ///< from byte 8 on
};

constexpr Kind kKinds[] = {{".png", "image/png", "\x89PNG\r\n\x1A\n"},
                           {".jpg", "image/jpeg", "\xFF\xD8\xFF"},
                           {".jpeg", "image/jpeg", "\xFF\xD8\xFF"},
                           {".gif", "image/gif", "GIF8"},
                           {".bmp", "image/bmp", "BM"},
                           {".webp", "image/webp", "RIFF", "WEBP"},
                           {".svg", "image/svg+xml", ""}};

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
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
        throw Failure(ExitCode::Damaged, file, "no PNG, JPEG, GIF, BMP, WebP or SVG picture");
    }
    return *byName;
}

std::string encodeBase64(const Bytes& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        unsigned group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8 | (i < count ? bytes[at + i] : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= count ? kDigits[group >> (18 - 6 * i) & 63U] : '=';
        }
    }
    return text;
}

/// The digits of a base64 text, less padding; empty when it is malformed.
std::string_view digitsOf(std::string_view text) {
    const std::size_t padding = endsWith(text, "==") ? 2 : endsWith(text, "=") ? 1 : 0;
    return text.size() % 4 == 0 ? text.substr(0, text.size() - padding) : std::string_view();
}

bool decodeBase64(std::string_view text, Bytes& bytes) {
    unsigned group = 0;
    unsigned bits = 0;
    for (const char digit : digitsOf(text)) {
        const std::size_t value = kDigits.find(digit);
        if (value == std::string_view::npos) {
            return false;
        }
        group = (group << 6 | static_cast<unsigned>(value)) & 0xFFFU;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<unsigned char>(group >> bits & 0xFFU));
        }
    }
    return text.empty() || !bytes.empty();
}

int hexadecimal(std::string_view text, std::size_t at) {
    constexpr std::string_view kHexDigits = "0123456789abcdef0123456789ABCDEF";
    const std::size_t value = at < text.size() ? kHexDigits.find(text[at]) : std::string_view::npos;
    return value == std::string_view::npos ? -1 : static_cast<int>(value % 16);
}

bool decodePercents(std::string_view text, Bytes& bytes) {
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

}  // namespace

std::string toDataUri(const Bytes& picture, const std::string& file) {
    const Kind& kind = kindOf(toText(picture), file);
    return "data:" + std::string(kind.mimeType) + std::string(kBase64Mark) + "," + encodeBase64(picture);
}

Bytes pictureOf(Bytes content, const std::string& partName) {
    const std::string uri = toText(content);
    if (!startsWith(uri, "data:")) {
        return content;
    }
    const std::size_t comma = uri.find(',');
    const std::string_view header = std::string_view(uri).substr(0, comma);
    const std::string_view data = comma == std::string::npos ? ""sv : std::string_view(uri).substr(comma + 1);
    Bytes picture;
    const auto decode = endsWith(header, kBase64Mark) ? decodeBase64 : decodePercents;
    if (comma == std::string::npos || !decode(data, picture)) {
        throw Failure(ExitCode::Damaged, "part " + partName + " holds a malformed data URI");
    }
    return picture;
}

}  // namespace flowbook::tool
