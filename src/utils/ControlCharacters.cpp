#include "flowbook/FlowbookFileUtils.hpp"
#include "format/LogChannel.hpp"
#include "plainxml/XmlCharacters.hpp"

#include <algorithm>
#include <cstddef>

namespace flowbook {

namespace {

foundation::log::basic_diagnostic_logger logger(detail::kLogChannel);

constexpr char16_t kReplacement = u'\uFFFD';

/// Long enough for the compiler to test many units at once, short enough to stay in a cache line or
/// a few when it has to be gone over again.
constexpr std::size_t kBlock = 128;

/// Written without branches, so that it is evaluated for a whole vector of units at a time.
constexpr bool isReplaced(char16_t c) {
    const bool deleteOrC1 = static_cast<char16_t>(c - 0x7F) <= 0x9F - 0x7F;
    const bool zeroWidthSpace = c == 0x200B;
    return plainxml::isForbidden(c) | deleteOrC1 | zeroWidthSpace;
}

bool hasReplaced(const char16_t* units, std::size_t count) {
    unsigned found = 0;
    for (std::size_t i = 0; i < count; ++i) {
        found |= static_cast<unsigned>(isReplaced(units[i]));
    }
    return found != 0;
}

void replace(char16_t* units, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (isReplaced(units[i])) {
            detail::log(logger, detail::kLogProgress, "Replacing character with replacement character");
            units[i] = kReplacement;
        }
    }
}

}  // namespace

std::u16string FlowbookFileUtils::encodeControlCharacters(const std::u16string& text) {
    detail::log(logger, detail::kLogProgress, "Encoding control characters");
    std::u16string encoded = text;
    for (std::size_t start = 0; start < encoded.size(); start += kBlock) {
        const std::size_t count = std::min(kBlock, encoded.size() - start);
        if (hasReplaced(&encoded[start], count)) {
            replace(&encoded[start], count);
        }
    }
    detail::log(logger, detail::kLogProgress, "Finished encoding control characters");
    return encoded;
}

}  // namespace flowbook
