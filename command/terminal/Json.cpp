// Writes JSON piece by piece, so that a record of any size is never in memory as a tree. What a terminal would obey is
// written as an escape, which JSON permits for any character.
#include "terminal/Json.hpp"

#include "fl/i18n/Conversion.hpp"

#include <algorithm>
#include <cstdio>
#include <string>

namespace flowbook::tool {

namespace {

// ASCII that JSON takes as it stands. Most texts are that, and need not be converted twice.
bool isPlain(unsigned char byte) { return byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\'; }

void appendNumber(std::string& text, unsigned char number) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", number);
    text += escape;
}

void appendEscaped(std::string& text, unsigned char byte) {
    if (byte == '"' || byte == '\\') {
        text += {'\\', static_cast<char>(byte)};
        // The only control character that texts have often; a short escape keeps code readable in a record.
    } else if (byte == '\n') {
        text += "\\n";
    } else if (byte < 0x20 || byte == 0x7F) {
        appendNumber(text, byte);
    } else {
        text += static_cast<char>(byte);
    }
}

std::string escaped(std::string_view utf8) {
    std::string text;
    text.reserve(utf8.size() + utf8.size() / 16);
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        const auto next = static_cast<unsigned char>(i + 1 < utf8.size() ? utf8[i + 1] : '\0');
        if (byte == 0xC2 && next < 0xA0) {
            // The controls U+0080 to U+009F, which a terminal may obey. Their numbers are those of the second byte.
            appendNumber(text, next);
            ++i;
        } else {
            appendEscaped(text, byte);
        }
    }
    return text;
}

/// The round trip makes malformed sequences U+FFFD.
std::string wellFormed(std::string_view utf8) { return fl::i18n::to_string(fl::i18n::to_ustring(utf8)); }

}  // namespace

void Json::separate() {
    if (needsComma_) {
        sink_->write(",");
    }
    needsComma_ = true;
}

Json& Json::open(char bracket) {
    separate();
    sink_->write(std::string_view(&bracket, 1));
    needsComma_ = false;
    return *this;
}

Json& Json::close(char bracket) {
    sink_->write(std::string_view(&bracket, 1));
    needsComma_ = true;
    return *this;
}

Json& Json::key(std::string_view name) {
    text(name);
    sink_->write(":");
    needsComma_ = false;
    return *this;
}

Json& Json::text(std::string_view utf8) {
    separate();
    sink_->write("\"");
    if (std::all_of(utf8.begin(), utf8.end(), [](char byte) { return isPlain(static_cast<unsigned char>(byte)); })) {
        sink_->write(utf8);
    } else {
        sink_->write(escaped(wellFormed(utf8)));
    }
    sink_->write("\"");
    return *this;
}

Json& Json::number(std::uint64_t value) {
    separate();
    sink_->write(std::to_string(value));
    return *this;
}

Json& Json::truth(bool value) {
    separate();
    sink_->write(value ? "true" : "false");
    return *this;
}

Json& Json::null() {
    separate();
    sink_->write("null");
    return *this;
}

}  // namespace flowbook::tool
