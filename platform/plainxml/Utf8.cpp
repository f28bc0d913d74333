// Characters beyond ASCII, and references. Both are decoded strictly: overlong forms, surrogates and numbers beyond
// Unicode are refused, as other readers would drop or replace them.
#include "plainxml/Utf8.hpp"

#include "plainxml/XmlCharacters.hpp"

#include <cstddef>
#include <string_view>
#include <utility>

namespace plainxml {
namespace {

/// More digits than any character needs; also, few enough that the number cannot overflow.
constexpr std::ptrdiff_t kMaxDigits = 8;

unsigned byteAt(const char* at) noexcept { return static_cast<unsigned char>(*at); }

/// Returns how many bytes follow a lead byte; 0 for what is no lead byte. C0, C1 and F5 to FF begin no sequence (RFC
/// 3629).
std::ptrdiff_t trailingBytes(unsigned lead) noexcept {
    if (lead >= 0xF0) {
        return lead <= 0xF4 ? 3 : 0;
    }
    return lead >= 0xE0 ? 2 : static_cast<std::ptrdiff_t>(lead >= 0xC2);
}

/// Returns the value of a digit, or the base itself for what is no digit.
char32_t digitValue(char c, char32_t base) noexcept {
    if (c >= '0' && c <= '9') {
        return static_cast<char32_t>(c - '0');
    }
    const char lower = static_cast<char>(c | 0x20);
    return base == 16 && lower >= 'a' && lower <= 'f' ? static_cast<char32_t>(lower - 'a' + 10) : base;
}

/// Takes a number from its first digit to its semicolon. @returns 0 when it is not the number of an XML character.
char32_t takeNumber(const char*& at, const char* end, char32_t base) noexcept {
    const char* const start = at;
    char32_t number = 0;
    for (; at != end && *at != ';' && at - start < kMaxDigits; ++at) {
        const char32_t digit = digitValue(*at, base);
        if (digit == base) {
            return 0;
        }
        number = number * base + digit;
    }
    const bool isEnded = at != end && *at == ';';
    at += isEnded;
    return isEnded && isXmlCharacter(number) ? number : 0;
}

}  // namespace

char32_t takeMultiByte(const char*& at, const char* end) noexcept {
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    const std::ptrdiff_t trailing = trailingBytes(byteAt(at));
    if (trailing == 0 || end - at <= trailing) {
        return 0;
    }
    char32_t point = byteAt(at++) & (0x3FU >> trailing);
    for (std::ptrdiff_t i = 0; i != trailing; ++i, ++at) {
        if ((byteAt(at) & 0xC0) != 0x80) {
            return 0;
        }
        point = point << 6 | (byteAt(at) & 0x3F);
    }
    return point >= kSmallest[trailing] && isXmlCharacter(point) ? point : 0;
}

char32_t takeReference(const char*& at, const char* end) noexcept {
    const std::string_view text(at, static_cast<std::size_t>(end - at));
    const auto startsWith = [text](std::string_view start) { return text.substr(0, start.size()) == start; };
    constexpr std::pair<std::string_view, char32_t> kEntities[] = {
        {"&lt;", U'<'}, {"&gt;", U'>'}, {"&amp;", U'&'}, {"&quot;", U'"'}, {"&apos;", U'\''}};
    for (const auto& [entity, character] : kEntities) {
        if (startsWith(entity)) {
            at += entity.size();
            return character;
        }
    }
    const bool isHexadecimal = startsWith("&#x");
    if (!isHexadecimal && !startsWith("&#")) {
        return 0;
    }
    at += isHexadecimal ? 3 : 2;
    return takeNumber(at, end, isHexadecimal ? 16 : 10);
}

}  // namespace plainxml
