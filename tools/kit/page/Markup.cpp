#include "kit/page/Markup.hpp"

#include "fl/i18n/Conversion.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace flowbook::kit {

namespace {

/// What is invisible or changes how its neighbours are shown. Joiners and variation selectors are not among them: they
/// belong to words of several scripts and to emoji.
constexpr struct {
    char32_t first;
    char32_t last;
} kHidden[] = {{0x00, 0x08},     {0x0B, 0x1F},     {0x7F, 0x9F},     {0x61C, 0x61C},   {0x115F, 0x1160},
               {0x180E, 0x180E}, {0x200B, 0x200B}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},
               {0x3164, 0x3164}, {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB}, {0xE0000, 0xE007F}};

bool isHidden(char32_t character) {
    return std::any_of(std::begin(kHidden), std::end(kHidden),
                       [&](const auto& range) { return range.first <= character && character <= range.last; });
}

std::string escape(char32_t character) {
    char text[12];
    std::snprintf(text, sizeof text, character < 0x10000 ? "\\u%04x" : "\\U%08x", static_cast<unsigned>(character));
    return text;
}

/// The bytes that stand for themselves.
std::array<bool, 256> plainBytes() {
    std::array<bool, 256> plain{};
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        plain[byte] = !isHidden(byte) && std::string_view("&<>\"'").find(static_cast<char>(byte)) == std::string::npos;
    }
    return plain;
}

std::size_t plainEnd(std::string_view utf8, std::size_t at) {
    static const std::array<bool, 256> plain = plainBytes();
    while (at < utf8.size() && plain[static_cast<unsigned char>(utf8[at])]) {
        ++at;
    }
    return at;
}

std::string escapedByte(char byte) {
    switch (byte) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return escape(static_cast<unsigned char>(byte));
    }
}

bool isAscii(char byte) { return static_cast<unsigned char>(byte) < 0x80; }

/// Text without ASCII characters.
std::string escapedWide(std::string_view utf8) {
    const std::u16string text = fl::i18n::to_ustring(utf8);
    std::u16string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isPair = (text[at] & 0xFC00) == 0xD800;
        const char32_t character = isPair ? 0x10000 + ((text[at] & 0x3FFU) << 10) + (text[at + 1] & 0x3FFU) : text[at];
        result += isHidden(character) ? fl::i18n::to_ustring(escape(character)) : text.substr(at, isPair ? 2 : 1);
        at += isPair ? 1 : 0;
    }
    return fl::i18n::to_string(result);
}

void appendEscaped(std::string& to, std::string_view utf8) {
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t end = plainEnd(utf8, at);
        to.append(utf8, at, end - at);
        at = end;
        if (at < utf8.size() && isAscii(utf8[at])) {
            to += escapedByte(utf8[at++]);
        } else if (at < utf8.size()) {
            const auto* const wideEnd = std::find_if(utf8.begin() + at, utf8.end(), isAscii);
            const auto length = static_cast<std::size_t>(wideEnd - utf8.begin()) - at;
            to += escapedWide(utf8.substr(at, length));
            at += length;
        }
    }
}

}  // namespace

Markup& Markup::open(Name element, Attributes attributes) {
    single(element, attributes);
    open_.push_back(element.text());
    return *this;
}

Markup& Markup::close() {
    text_.append("</").append(open_.back()).append(">");
    open_.pop_back();
    return *this;
}

Markup& Markup::single(Name element, Attributes attributes) {
    text_.append("<").append(element.text());
    for (const Attribute& attribute : attributes) {
        text_.append(" ").append(attribute.name.text()).append("=\"");
        appendEscaped(text_, attribute.value);
        text_ += '"';
    }
    text_ += '>';
    return *this;
}

Markup& Markup::text(std::string_view utf8) {
    appendEscaped(text_, utf8);
    return *this;
}

Markup& Markup::lines(std::string_view utf8) {
    for (std::size_t end = utf8.find('\n'); end != std::string_view::npos; end = utf8.find('\n')) {
        text(utf8.substr(0, end)).single("br");
        utf8.remove_prefix(end + 1);
    }
    return text(utf8);
}

}  // namespace flowbook::kit
