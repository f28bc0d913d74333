#include "kit/page/Symbols.hpp"

#include "fl/i18n/Conversion.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace flowbook::kit {

namespace {

constexpr unsigned kOwnFirst = 0xF000;
constexpr unsigned kOwnLast = 0xF0FF;

// The font "Symbol" from its character 0x61 on: Greek letters in the places of Latin ones.
constexpr std::u16string_view kSmallGreek = u"αβχδεφγηιϕκλμνοπθρστυϖωξψζ";
constexpr std::u16string_view kCapitalGreek = u"ΑΒΧΔΕΦΓΗΙϑΚΛΜΝΟΠΘΡΣΤΥςΩΞΨΖ";

constexpr struct {
    std::string_view font;
    unsigned code;
    char16_t character;
} kSymbols[] = {
    {"Symbol", 0xA3, u'≤'},    {"Symbol", 0xA5, u'∞'},    {"Symbol", 0xAB, u'↔'},    {"Symbol", 0xAC, u'←'},
    {"Symbol", 0xAD, u'↑'},    {"Symbol", 0xAE, u'→'},    {"Symbol", 0xAF, u'↓'},    {"Symbol", 0xB0, u'°'},
    {"Symbol", 0xB1, u'±'},    {"Symbol", 0xB3, u'≥'},    {"Symbol", 0xB4, u'×'},    {"Symbol", 0xB5, u'∝'},
    {"Symbol", 0xB6, u'∂'},    {"Symbol", 0xB7, u'•'},    {"Symbol", 0xB8, u'÷'},    {"Symbol", 0xB9, u'≠'},
    {"Symbol", 0xBA, u'≡'},    {"Symbol", 0xBB, u'≈'},    {"Symbol", 0xD1, u'∇'},    {"Symbol", 0xD6, u'√'},
    {"Symbol", 0xE5, u'∑'},    {"Symbol", 0xF2, u'∫'},    {"Wingdings", 0x4A, u'☺'}, {"Wingdings", 0x6C, u'●'},
    {"Wingdings", 0x6E, u'■'}, {"Wingdings", 0xA7, u'▪'}, {"Wingdings", 0xA8, u'☐'}, {"Wingdings", 0xD8, u'➢'},
    {"Wingdings", 0xDF, u'←'}, {"Wingdings", 0xE0, u'→'}, {"Wingdings", 0xFB, u'✗'}, {"Wingdings", 0xFC, u'✓'},
    {"Wingdings", 0xFD, u'☒'}, {"Wingdings", 0xFE, u'☑'}};

char16_t ownSymbol(std::string_view font, unsigned code) {
    if (font == "Symbol" && code >= 'a' && code <= 'z') {
        return kSmallGreek[code - 'a'];
    }
    if (font == "Symbol" && code >= 'A' && code <= 'Z') {
        return kCapitalGreek[code - 'A'];
    }
    const auto* const found = std::find_if(std::begin(kSymbols), std::end(kSymbols),
                                           [&](const auto& each) { return each.font == font && each.code == code; });
    return found == std::end(kSymbols) ? u'\0' : found->character;
}

}  // namespace

std::string symbolOf(std::string_view font, std::string_view code) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(code.data(), code.data() + code.size(), number, 16);
    const bool isNumber = error == std::errc() && end == code.data() + code.size() && number != 0;
    if (!isNumber || (number >= 0xD800 && number <= 0xDFFF) || number > 0xFFFF) {
        return {};
    }
    const bool isOwn = number >= kOwnFirst && number <= kOwnLast;
    const bool isOfSymbols = font == "Symbol" || font.substr(0, 9) == "Wingdings" || font == "Webdings";
    if (isOwn || isOfSymbols) {
        const char16_t symbol = ownSymbol(font, isOwn ? number - kOwnFirst : number);
        return symbol == u'\0' ? std::string() : fl::i18n::to_string(std::u16string(1, symbol));
    }
    return number < 0x20 || (number >= 0xE000 && number <= 0xF8FF)
               ? std::string()
               : fl::i18n::to_string(std::u16string(1, static_cast<char16_t>(number)));
}

}  // namespace flowbook::kit
