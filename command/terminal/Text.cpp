// Text on its way in and out. Names and contents of flowbooks may come from anyone; what a terminal would obey or not
// show is printed as an escape.
#include "terminal/Text.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "kit/document/Characters.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Refused when it is typed: a property that is saved with U+FFFD in its place would not be what the user gave.
bool isForbiddenInXml(char16_t unit) {
    const bool isSpace = unit == u'\t' || unit == u'\n' || unit == u'\r';
    return (unit < 0x20 && !isSpace) || unit == 0xFFFE || unit == 0xFFFF;
}

std::string escape(char32_t character) {
    switch (character) {
    case U'\n':
        return "\\n";
    case U'\r':
        return "\\r";
    case U'\t':
        return "\\t";
    default:
        return kit::escapeOf(character);
    }
}

/// Each hidden character that is not in `kept` as an escape, each character of `marked` behind a backslash.
std::string escaped(std::string_view utf8, std::u16string_view marked, std::u16string_view kept) {
    const std::u16string text = fl::i18n::to_ustring(utf8);
    std::u16string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = kit::characterAt(text, at);
        if (kit::isHidden(character) && kept.find(text[at]) == std::u16string_view::npos) {
            result += fl::i18n::to_ustring(escape(character));
        } else {
            result.append(marked.find(text[at]) == std::u16string_view::npos ? 0 : 1, u'\\').append(text, at, length);
        }
        at += length;
    }
    return fl::i18n::to_string(result);
}

bool isPlainAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char byte) { return byte >= 0x20 && byte < 0x7F; });
}

}  // namespace

std::u16string fromArgument(const std::string& argument) {
    try {
        return fl::i18n::utf8_to_ustring(argument);
    } catch (const fl::i18n::ConversionError& error) {
        throw Failure(ExitCode::Usage, "argument is not UTF-8 text at byte " + std::to_string(error.offset()));
    }
}

std::u16string propertyFromArgument(const std::string& argument) {
    std::u16string text = fromArgument(argument);
    const auto found = std::find_if(text.begin(), text.end(), isForbiddenInXml);
    if (found != text.end()) {
        throw Failure(ExitCode::Usage, "a property cannot hold the character " + escape(*found));
    }
    return text;
}

std::u16string fromUtf8(const Bytes& bytes, const std::string& file) {
    const std::string text = toText(bytes);
    // Editors of other systems begin a text with the mark, which is no part of it.
    const std::size_t skipped = kit::startsWith(text, kByteOrderMark) ? kByteOrderMark.size() : 0;
    try {
        return fl::i18n::utf8_to_ustring(std::string_view(text).substr(skipped));
    } catch (const fl::i18n::ConversionError& error) {
        throw Failure(ExitCode::Usage, file, "not UTF-8 text at byte " + std::to_string(skipped + error.offset()));
    }
}

std::string printable(std::string_view utf8) {
    return isPlainAscii(utf8) ? std::string(utf8) : escaped(utf8, u"", u"");
}

std::string printableLines(std::string_view utf8) { return escaped(utf8, u"", u"\n\t"); }

std::string inQuotes(std::string_view utf8) { return '"' + escaped(utf8, u"\"\\", u"") + '"'; }

}  // namespace flowbook::tool
