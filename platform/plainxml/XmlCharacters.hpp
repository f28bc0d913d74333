#pragma once

/// What XML 1.0 (5th edition, 2.2) lets a document hold: the one statement of it for both libraries.
namespace plainxml {

/// Whether no XML document may hold this UTF-16 code unit, not even by reference: controls except tab, line feed and
/// carriage return, U+FFFE and U+FFFF. Surrogates are permitted, in pairs. It has no branches, so that it also works on
/// all units of a vector at once.
/// @param unit  a char16_t, or a vector of such units, which becomes a vector of masks.
template <class Unit>
constexpr auto isForbidden(Unit unit) {
    const auto control = (unit < 0x20) & (unit != '\t') & (unit != '\n') & (unit != '\r');
    return control | (unit > 0xFFFD);
}

/// Whether a code point is an XML character ("Char"). Lone surrogates and what lies beyond Unicode are none.
constexpr bool isXmlCharacter(char32_t point) {
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    return point <= 0x10FFFF && !surrogate && (point > 0xFFFF || !isForbidden(static_cast<char16_t>(point)));
}

constexpr bool isXmlSpace(char32_t point) {
    return point == U' ' || point == U'\t' || point == U'\n' || point == U'\r';
}

}  // namespace plainxml
