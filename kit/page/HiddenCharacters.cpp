#include "kit/page/HiddenCharacters.hpp"

#include "kit/document/Characters.hpp"

#include <algorithm>
#include <iterator>

namespace flowbook::kit {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

template <std::size_t Size>
bool isIn(const Range (&ranges)[Size], char32_t character) {
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [&](const Range& range) { return range.first <= character && character <= range.last; });
}

// Blocks of Unicode, rather than properties of single characters: it is enough to know which script surrounds a mark.
constexpr Range kRightToLeft[] = {
    {0x590, 0x8FF}, {0xFB1D, 0xFDFF}, {0xFE70, 0xFEFC}, {0x10800, 0x10FFF}, {0x1E800, 0x1EEFF}};
constexpr Range kJoining[] = {{0x600, 0x8FF},   {0x900, 0xDFF},   {0xF00, 0x109F},   {0x1780, 0x18AF},
                              {0xA800, 0xABFF}, {0xFB50, 0xFDFF}, {0x10A00, 0x11FFF}};
constexpr Range kWithoutSpaces[] = {{0xE00, 0xEFF},   {0xF00, 0x109F},  {0x1780, 0x17FF},
                                    {0x1950, 0x19DF}, {0x1A20, 0x1AAF}, {0xAA60, 0xAADF}};
constexpr Range kEmoji[] = {{0xA9, 0xA9},     {0xAE, 0xAE},     {0x203C, 0x203C}, {0x2049, 0x2049},  {0x2100, 0x27BF},
                            {0x2900, 0x2BFF}, {0x3030, 0x303D}, {0x3297, 0x3299}, {0x1F000, 0x1FAFF}};
constexpr Range kVarying[] = {{0x1000, 0x109F}, {0x1800, 0x18AF}, {0x2200, 0x22FF}, {0x3000, 0x9FFF},
                              {0xA840, 0xA87F}, {0xF900, 0xFAFF}, {0xFF00, 0xFF60}, {0x20000, 0x3FFFF}};
constexpr Range kKhmer[] = {{0x1780, 0x17FF}};
constexpr Range kMongolian[] = {{0x1800, 0x18AF}};
constexpr Range kHangul[] = {{0x1100, 0x11FF}};
constexpr Range kWithMarks[] = {{0x300, 0x36F}, {0x590, 0x8FF}};
constexpr Range kNotation[] = {{0x11080, 0x110CF}, {0x13000, 0x1345F}, {0x1BC00, 0x1BCAF}, {0x1D100, 0x1D1FF}};
// Of the Unicode category Cf, but seen: signs that enclose digits.
constexpr Range kSeen[] = {{0x600, 0x605}, {0x6DD, 0x6DD}, {0x70F, 0x70F}, {0x890, 0x891}, {0x8E2, 0x8E2}};

constexpr char32_t kEmojiSelector = 0xFE0F;
constexpr char32_t kKeycap = 0x20E3;
constexpr char32_t kFlag = 0x1F3F4;
constexpr std::size_t kFarthest = 8;

/// A place in a text, with what stands around it.
struct Place {
    std::u16string_view text;
    std::size_t begin;
    std::size_t end;

    char32_t before() const { return begin == 0 ? 0 : before(begin).first; }
    char32_t after() const { return end == text.size() ? 0 : characterAt(text, end).first; }

    std::pair<char32_t, std::size_t> before(std::size_t at) const {
        const bool isPair = at > 1 && (text[at - 1] & 0xFC00U) == 0xDC00 && (text[at - 2] & 0xFC00U) == 0xD800;
        return characterAt(text, at - (isPair ? 2 : 1));
    }
};

bool isStrongLetter(char32_t character) {
    const char32_t small = character | 0x20U;
    return character >= 0xC0 ? !isHidden(character) && (character < 0x2000 || character > 0x206F)
                             : small >= 'a' && small <= 'z';
}

/// Whether the nearest letter on either side, within a few characters, is written from right to left.
bool isBesideRightToLeft(const Place& place) {
    std::size_t at = place.begin;
    for (std::size_t i = 0; i < kFarthest && at > 0; ++i) {
        const auto [character, length] = place.before(at);
        if (isStrongLetter(character)) {
            return isIn(kRightToLeft, character);
        }
        at -= length;
    }
    at = place.end;
    for (std::size_t i = 0; i < kFarthest && at < place.text.size(); ++i) {
        const auto [character, length] = characterAt(place.text, at);
        if (isStrongLetter(character)) {
            return isIn(kRightToLeft, character);
        }
        at += length;
    }
    return false;
}

bool isTag(char32_t character) { return character >= 0xE0020 && character <= 0xE007F; }

/// Whether tags spell the region of a flag.
bool isOfFlag(const Place& place) {
    std::size_t at = place.begin;
    while (at > 0 && isTag(place.before(at).first)) {
        at -= place.before(at).second;
    }
    return at > 0 && place.before(at).first == kFlag;
}

bool joinsEmoji(const Place& place) {
    const char32_t before = place.before();
    return (isIn(kEmoji, before) || before == kEmojiSelector) && isIn(kEmoji, place.after());
}

bool selectsVariant(const Place& place) {
    const char32_t before = place.before();
    const bool isKey = (before >= '0' && before <= '9') || before == '#' || before == '*';
    return isIn(kEmoji, before) || isIn(kVarying, before) || (isKey && place.after() == kKeycap);
}

template <const auto& Ranges>
bool isBehind(const Place& place) {
    return isIn(Ranges, place.before());
}

template <const auto& Ranges>
bool isBeside(const Place& place) {
    return isIn(Ranges, place.before()) || isIn(Ranges, place.after());
}

/// Where a character belongs, so that it is left alone there.
constexpr struct {
    Range range;
    bool (*belongs)(const Place& place);
} kBelonging[] = {
    {{'\t', '\n'}, [](const Place&) { return true; }},
    {{0x34F, 0x34F}, isBehind<kWithMarks>},
    {{0x600, 0x8FF},
     [](const Place& place) {
         return isIn(kSeen, characterAt(place.text, place.begin).first) || isBesideRightToLeft(place);
     }},
    {{0x115F, 0x1160}, isBeside<kHangul>},
    {{0x17B4, 0x17B5}, isBehind<kKhmer>},
    {{0x180B, 0x180F}, isBeside<kMongolian>},
    {{0x200B, 0x200B}, isBeside<kWithoutSpaces>},
    {{0x200C, 0x200C}, isBehind<kJoining>},
    {{0x200D, 0x200D}, [](const Place& place) { return isIn(kJoining, place.before()) || joinsEmoji(place); }},
    {{0x200E, 0x200F}, isBesideRightToLeft},
    {{0xFE00, 0xFE0F}, selectsVariant},
    {{0x110BD, 0x1D17A}, isBeside<kNotation>},
    {{0xE0020, 0xE007F}, isOfFlag},
    {{0xE0100, 0xE01EF}, isBehind<kVarying>}};

}  // namespace

bool isHiddenAt(std::u16string_view text, std::size_t at) {
    const auto [character, length] = characterAt(text, at);
    if (!isHidden(character)) {
        return false;
    }
    const auto* const found = std::find_if(std::begin(kBelonging), std::end(kBelonging), [c = character](auto& each) {
        return each.range.first <= c && c <= each.range.last;
    });
    return found == std::end(kBelonging) || !found->belongs({text, at, at + length});
}

}  // namespace flowbook::kit
