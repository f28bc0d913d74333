#include "terminal/Text.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <cstdio>

namespace flowbook::tool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isForbiddenInXml(char16_t unit) {
    const bool isSpace = unit == u'\t' || unit == u'\n' || unit == u'\r';
    return (unit < 0x20 && !isSpace) || unit == 0xFFFE || unit == 0xFFFF;
}

std::string escape(char16_t unit) {
    switch (unit) {
    case u'\n':
        return "\\n";
    case u'\r':
        return "\\r";
    case u'\t':
        return "\\t";
    default:
        char text[8];
        std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(unit));
        return text;
    }
}

bool isControl(char16_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); }

/// Each control character as an escape, each character of `marked` behind a backslash.
std::string escaped(std::string_view utf8, std::u16string_view marked) {
    std::u16string result;
    for (const char16_t unit : fl::i18n::to_ustring(utf8)) {
        if (isControl(unit)) {
            result += fl::i18n::to_ustring(escape(unit));
            continue;
        }
        if (marked.find(unit) != std::u16string_view::npos) {
            result += u'\\';
        }
        result += unit;
    }
    return fl::i18n::to_string(result);
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

std::string printable(std::string_view utf8) { return escaped(utf8, u""); }

std::string inQuotes(std::string_view utf8) { return '"' + escaped(utf8, u"\"\\") + '"'; }

bool startsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace flowbook::tool
