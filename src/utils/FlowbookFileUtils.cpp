// Plain code of rich code that is not in a file, and the replacement of characters that rich code cannot hold.
#include "flowbook/FlowbookFileUtils.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "format/LogChannel.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "plainxml/XmlCharacters.hpp"
#include "utils/Code.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace flowbook {
namespace {

/// Returns none for text with lone surrogates, which has no UTF-8. The DOM refuses it, with the place.
std::optional<std::u16string> scanText(const std::u16string& richCode) {
    try {
        return detail::scanForCode(fl::i18n::ustring_to_utf8(richCode));
    } catch (const fl::i18n::ConversionError&) {
        return std::nullopt;
    }
}

constexpr char16_t kReplacement = u'\uFFFD';

/// Units that are looked at in one step. The vectors are spelled out: whether a compiler makes them of a loop depends
/// on its switches, and this goes over every text that is saved.
using Units = std::uint16_t __attribute__((vector_size(16)));
using Masks = std::int16_t __attribute__((vector_size(16)));
constexpr std::size_t kStep = sizeof(Units) / sizeof(char16_t);

/// Units between two tests of the result. Many, so that a test costs little, and few enough to be still in the cache
/// when the block has to be gone over again.
constexpr std::size_t kBlock = 16 * kStep;

/// Whether a unit is replaced: what XML forbids, the delete character, the C1 controls and the zero width space.
/// @param unit  a char16_t or a vector of units.
template <class Unit>
constexpr auto isReplaced(Unit unit) {
    const auto deleteOrC1 = static_cast<Unit>(unit - 0x7F) <= 0x9F - 0x7F;
    const auto zeroWidthSpace = unit == 0x200B;
    return plainxml::isForbidden(unit) | deleteOrC1 | zeroWidthSpace;
}

/// Whether any of kBlock units is replaced.
bool hasReplaced(const char16_t* block) {
    Masks found{};
    for (std::size_t i = 0; i != kBlock; i += kStep) {
        Units units;
        std::memcpy(&units, block + i, sizeof units);
        found |= isReplaced(units);
    }
    std::uint64_t halves[2];
    static_assert(sizeof halves == sizeof found);
    std::memcpy(halves, &found, sizeof found);
    return (halves[0] | halves[1]) != 0;
}

/// Replaces unit by unit. It logs each replacement, as a user may want to know why the saved code differs.
void replace(char16_t* units, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (isReplaced(units[i])) {
            detail::log(detail::kLogProgress, "Replacing character with replacement character");
            units[i] = kReplacement;
        }
    }
}

}  // namespace

std::u16string FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(const std::u16string& richCode) {
    std::optional<std::u16string> code = scanText(richCode);
    return code ? std::move(*code) : detail::codeByDom(richCode);
}

std::u16string FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(opc::InputStream& richCodeStream) {
    std::vector<unsigned char> bytes;
    opc::ByteArrayOutAdaptor out(bytes);
    opc::StreamHelper::copyStreamToStream(richCodeStream, out);
    if (auto code = detail::scanForCode({reinterpret_cast<const char*>(bytes.data()), bytes.size()})) {
        return std::move(*code);
    }
    opc::ByteArrayInAdaptor again(bytes);
    return detail::codeByDom(again);
}

std::u16string FlowbookFileUtils::encodeControlCharacters(const std::u16string& text) {
    detail::log(detail::kLogProgress, "Encoding control characters");
    std::u16string encoded = text;
    std::size_t done = 0;
    for (; encoded.size() - done >= kBlock; done += kBlock) {
        if (hasReplaced(&encoded[done])) {
            replace(&encoded[done], kBlock);
        }
    }
    replace(&encoded[done], encoded.size() - done);
    detail::log(detail::kLogProgress, "Finished encoding control characters");
    return encoded;
}

}  // namespace flowbook
