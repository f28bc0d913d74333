// Writes HTML. All text passes through the escapes of this file, and what a reader of the page would not see is marked:
// text that looks like other text is how people are deceived.
#include "kit/page/Markup.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/page/HiddenCharacters.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace flowbook::kit {

namespace {

enum class Within { Text, Attribute };

/// The bytes that stand for themselves.
std::array<bool, 256> plainBytes() {
    std::array<bool, 256> plain{};
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        const bool isSeen = byte == '\t' || byte == '\n' || !isHidden(byte);
        plain[byte] = isSeen && std::string_view("&<>\"'").find(static_cast<char>(byte)) == std::string::npos;
    }
    return plain;
}

bool isPlain(char byte) {
    static const std::array<bool, 256> plain = plainBytes();
    return plain[static_cast<unsigned char>(byte)];
}

/// How a character of markup stands in a text; empty for all others.
std::string_view escapeFor(char32_t character) {
    switch (character) {
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
        return {};
    }
}

std::string codePointOf(char32_t character) {
    char text[12];
    std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(character));
    return text;
}

/// The character itself, for copying, in an element that has its number written before it by the style. No page can
/// hold NUL, and a carriage return only by its number.
void appendMarked(std::string& to, char32_t character, std::u16string_view units) {
    to.append("<span class=\"unseen\" data-character=\"").append(codePointOf(character)).append("\">");
    to.append(character == 0 ? "" : character == '\r' ? "&#13;" : fl::i18n::to_string(units)).append("</span>");
}

void appendWide(std::string& to, std::u16string_view text, Within within) {
    std::size_t seen = 0;
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = characterAt(text, at);
        const std::string_view escape = escapeFor(character);
        const bool isMarked = isHiddenAt(text, at);
        if (!escape.empty() || isMarked) {
            to += fl::i18n::to_string(text.substr(seen, at - seen));
            seen = at + length;
        }
        if (isMarked && within == Within::Text) {
            appendMarked(to, character, text.substr(at, length));
        } else {
            to += isMarked ? escapeOf(character) : escape;
        }
        at += length;
    }
    to += fl::i18n::to_string(text.substr(seen));
}

void appendEscaped(std::string& to, std::string_view utf8, Within within) {
    const auto isWide = [](char byte) { return !isPlain(byte) && escapeFor(static_cast<unsigned char>(byte)).empty(); };
    if (std::any_of(utf8.begin(), utf8.end(), isWide)) {
        appendWide(to, fl::i18n::to_ustring(utf8), within);
        return;
    }
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        const auto* const end = std::find_if_not(utf8.begin() + at, utf8.end(), isPlain);
        const auto length = static_cast<std::size_t>(end - utf8.begin()) - at;
        to.append(utf8, at, length);
        at += length;
        to += at < utf8.size() ? escapeFor(static_cast<unsigned char>(utf8[at])) : std::string_view();
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
        appendEscaped(text_, attribute.value, Within::Attribute);
        text_ += '"';
    }
    text_ += '>';
    return *this;
}

Markup& Markup::text(std::string_view utf8) {
    appendEscaped(text_, utf8, Within::Text);
    return *this;
}

Markup& Markup::unmarked(std::string_view utf8) {
    appendEscaped(text_, utf8, Within::Attribute);
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
