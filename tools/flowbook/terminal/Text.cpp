#include "terminal/Text.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <cstdio>

namespace flowbook::tool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// What is invisible or changes how its neighbours are shown: controls, the characters of the Unicode
/// category Cf, line and paragraph separators, fillers and variation selectors.
constexpr struct {
    char32_t first;
    char32_t last;
} kHidden[] = {{0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},     {0x600, 0x605},
               {0x61C, 0x61C},     {0x6DD, 0x6DD},     {0x70F, 0x70F},     {0x890, 0x891},     {0x8E2, 0x8E2},
               {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},
               {0x2060, 0x206F},   {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
               {0xFFF0, 0xFFFB},   {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3},
               {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};

bool isHidden(char32_t character) {
    const auto* range = std::lower_bound(std::begin(kHidden), std::end(kHidden), character,
                                         [](const auto& each, char32_t value) { return each.last < value; });
    return range != std::end(kHidden) && range->first <= character;
}

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
        char text[12];
        std::snprintf(text, sizeof text, character < 0x10000 ? "\\u%04x" : "\\U%08x", static_cast<unsigned>(character));
        return text;
    }
}

/// The character at `at`, and its length in units.
std::pair<char32_t, std::size_t> characterAt(std::u16string_view text, std::size_t at) {
    const char32_t unit = text[at];
    if (unit < 0xD800 || unit >= 0xDC00 || at + 1 == text.size()) {
        return {unit, 1};
    }
    return {0x10000 + ((unit - 0xD800) << 10) + (text[at + 1] - 0xDC00U), 2};
}

/// Each hidden character that is not in `kept` as an escape, each character of `marked` behind a backslash.
std::string escaped(std::string_view utf8, std::u16string_view marked, std::u16string_view kept) {
    const std::u16string text = fl::i18n::to_ustring(utf8);
    std::u16string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = characterAt(text, at);
        if (isHidden(character) && kept.find(text[at]) == std::u16string_view::npos) {
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
    const std::size_t skipped = startsWith(text, kByteOrderMark) ? kByteOrderMark.size() : 0;
    try {
        return fl::i18n::utf8_to_ustring(std::string_view(text).substr(skipped));
    } catch (const fl::i18n::ConversionError& error) {
        throw Failure(ExitCode::Damaged, file, "not UTF-8 text at byte " + std::to_string(skipped + error.offset()));
    }
}

std::string printable(std::string_view utf8) {
    return isPlainAscii(utf8) ? std::string(utf8) : escaped(utf8, u"", u"");
}

std::string printableLines(std::string_view utf8) { return escaped(utf8, u"", u"\n\t"); }

std::string inQuotes(std::string_view utf8) { return '"' + escaped(utf8, u"\"\\", u"") + '"'; }

bool startsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace flowbook::tool
