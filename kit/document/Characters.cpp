#include "kit/document/Characters.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace flowbook::kit {

namespace {

constexpr struct {
    char32_t first;
    char32_t last;
} kHidden[] = {{0x0, 0x1F},        {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},     {0x600, 0x605},
               {0x61C, 0x61C},     {0x6DD, 0x6DD},     {0x70F, 0x70F},     {0x890, 0x891},     {0x8E2, 0x8E2},
               {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},
               {0x2060, 0x206F},   {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
               {0xFFF0, 0xFFFB},   {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3},
               {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};

}  // namespace

bool isHidden(char32_t character) {
    const auto* range = std::lower_bound(std::begin(kHidden), std::end(kHidden), character,
                                         [](const auto& each, char32_t value) { return each.last < value; });
    return range != std::end(kHidden) && range->first <= character;
}

std::string escapeOf(char32_t character) {
    char text[12];
    std::snprintf(text, sizeof text, character < 0x10000 ? "\\u%04x" : "\\U%08x", static_cast<unsigned>(character));
    return text;
}

std::pair<char32_t, std::size_t> characterAt(std::u16string_view text, std::size_t at) {
    const char32_t unit = text[at];
    if (unit < 0xD800 || unit >= 0xDC00 || at + 1 == text.size()) {
        return {unit, 1};
    }
    return {0x10000 + ((unit - 0xD800) << 10) + (text[at + 1] - 0xDC00U), 2};
}

bool isInsideCharacter(std::string_view utf8, std::size_t at) {
    return at < utf8.size() && (static_cast<unsigned char>(utf8[at]) & 0xC0U) == 0x80U;
}

std::size_t characterEnd(std::string_view utf8, std::size_t at) {
    do {
        ++at;
    } while (isInsideCharacter(utf8, at));
    return at;
}

bool startsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace flowbook::kit
