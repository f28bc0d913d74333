#include "io/CodeText.hpp"

#include "fl/i18n/Conversion.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 16;

std::size_t endOfPiece(const std::u16string& text, std::size_t start) {
    const std::size_t end = std::min(text.size(), start + kPiece);
    const bool isInPair = end != text.size() && text[end - 1] >= 0xD800 && text[end - 1] < 0xDC00;
    return isInPair ? end - 1 : end;
}

}  // namespace

void readCodeText(const FlowbookFileReader& reader, const std::function<void(const std::string&)>& write) {
    const std::u16string code = reader.getTARMICCode();
    for (std::size_t at = 0; at != code.size();) {
        const std::size_t end = endOfPiece(code, at);
        write(fl::i18n::to_string(std::u16string_view(code).substr(at, end - at)));
        at = end;
    }
    if (!code.empty() && code.back() != u'\n') {
        write("\n");
    }
}

std::string readCodeText(const FlowbookFileReader& reader) {
    std::string text;
    readCodeText(reader, [&](const std::string& piece) { text += piece; });
    return text;
}

}  // namespace flowbook::tool
