#include "kit/page/Markup.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"

#include <algorithm>
#include <array>

namespace flowbook::kit {

namespace {

/// The bytes that stand for themselves.
std::array<bool, 256> plainBytes() {
    std::array<bool, 256> plain{};
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        plain[byte] = !isHidden(byte, Shown::OnPage) &&
                      std::string_view("&<>\"'").find(static_cast<char>(byte)) == std::string::npos;
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
        return escapeOf(static_cast<unsigned char>(byte));
    }
}

bool isAscii(char byte) { return static_cast<unsigned char>(byte) < 0x80; }

/// Text without ASCII characters.
std::string escapedWide(std::string_view utf8) {
    const std::u16string text = fl::i18n::to_ustring(utf8);
    std::u16string result;
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = characterAt(text, at);
        result +=
            isHidden(character, Shown::OnPage) ? fl::i18n::to_ustring(escapeOf(character)) : text.substr(at, length);
        at += length;
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
