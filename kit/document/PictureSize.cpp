// Reads the size of a picture from its header. Pages need it before a browser decodes the picture: a few bytes can
// decode to gigabytes. A header that lies only costs the picture its place on the page.
#include "kit/document/PictureSize.hpp"

#include "kit/document/Characters.hpp"
#include "kit/document/StoredText.hpp"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>

namespace flowbook::kit {

namespace {

/// Numbers at places in the picture; 0 behind its end.
class Header {
public:
    explicit Header(const fl::Bytes& bytes) : bytes_(&bytes) {}

    std::uint64_t byte(std::size_t at) const { return at < bytes_->size() ? (*bytes_)[at] : 0; }
    std::uint64_t little(std::size_t at, std::size_t count) const {
        return count == 0 ? 0 : byte(at) | little(at + 1, count - 1) << 8;
    }
    std::uint64_t big(std::size_t at, std::size_t count) const {
        return count == 0 ? 0 : big(at, count - 1) << 8 | byte(at + count - 1);
    }
    std::size_t size() const { return bytes_->size(); }
    std::string_view text() const { return {reinterpret_cast<const char*>(bytes_->data()), bytes_->size()}; }

private:
    const fl::Bytes* bytes_;
};

PictureSize known(std::uint64_t width, std::uint64_t height) {
    return {width != 0 && height != 0 ? PictureSize::Kind::Known : PictureSize::Kind::Unknown, width, height};
}

PictureSize sizeOfPng(const Header& header) { return known(header.big(16, 4), header.big(20, 4)); }

/// In the first frame header among the segments.
PictureSize sizeOfJpeg(const Header& header) {
    for (std::size_t at = 2; at + 9 < header.size();) {
        const std::uint64_t marker = header.byte(at + 1);
        const bool isFrame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (header.byte(at) != 0xFF) {
            break;
        }
        if (isFrame) {
            return known(header.big(at + 7, 2), header.big(at + 5, 2));
        }
        const bool isFill = marker == 0xFF;
        at += isFill ? 1 : 2 + std::max<std::size_t>(header.big(at + 2, 2), 2);
    }
    return {PictureSize::Kind::Unknown};
}

/// The first frame may be larger than the screen whose size is in the header.
PictureSize sizeOfGif(const Header& header) {
    const auto tableSize = [&](std::size_t at) {
        const std::uint64_t flags = header.byte(at);
        return (flags & 0x80U) != 0 ? std::size_t{3} << ((flags & 7U) + 1) : 0;
    };
    std::size_t at = 13 + tableSize(10);
    while (header.byte(at) == 0x21) {
        for (at += 2; header.byte(at) != 0; at += 1 + header.byte(at)) {
        }
        ++at;
    }
    if (header.byte(at) != 0x2C) {
        return {PictureSize::Kind::Unknown};
    }
    return known(std::max(header.little(6, 2), header.little(at + 1, 2) + header.little(at + 5, 2)),
                 std::max(header.little(8, 2), header.little(at + 3, 2) + header.little(at + 7, 2)));
}

PictureSize sizeOfBmp(const Header& header) {
    if (header.little(14, 4) == 12) {
        return known(header.little(18, 2), header.little(20, 2));
    }
    const auto height = static_cast<std::int32_t>(header.little(22, 4));  // negative: from top to bottom
    return known(header.little(18, 4), static_cast<std::uint64_t>(std::abs(std::int64_t{height})));
}

PictureSize sizeOfWebp(const Header& header) {
    const std::string_view chunk = header.text().substr(12, 4);
    if (chunk == "VP8X") {
        return known(header.little(24, 3) + 1, header.little(27, 3) + 1);
    }
    if (chunk == "VP8L") {
        const std::uint64_t bits = header.little(21, 4);
        return known((bits & 0x3FFFU) + 1, (bits >> 14 & 0x3FFFU) + 1);
    }
    return known(header.little(26, 2) & 0x3FFFU, header.little(28, 2) & 0x3FFFU);
}

/// A length in pixels; 0 for one that is no length, such as a percentage.
std::uint64_t pixelsOf(const std::string& length) {
    constexpr struct {
        std::string_view unit;
        double pixels;
    } kUnits[] = {{"", 1},           {"px", 1},  {"pt", 4. / 3}, {"pc", 16},  {"mm", 96 / 25.4},
                  {"cm", 96 / 2.54}, {"in", 96}, {"em", 16},     {"rem", 16}, {"ex", 8}};
    char* end = nullptr;
    const double number = std::strtod(length.c_str(), &end);
    const std::string_view unit = end;
    const auto* const found =
        std::find_if(std::begin(kUnits), std::end(kUnits), [&](const auto& each) { return each.unit == unit; });
    constexpr double kLargest = 1e9;
    return found == std::end(kUnits) || !(number > 0)
               ? 0
               : static_cast<std::uint64_t>(std::min(number * found->pixels, kLargest));
}

std::uint64_t lengthIn(std::string_view tag, std::string_view attribute) {
    for (std::size_t at = tag.find(attribute); at != std::string_view::npos; at = tag.find(attribute, at + 1)) {
        const bool isName = std::string_view(" \t\r\n").find(tag[at - 1]) != std::string_view::npos;
        const std::size_t quote = tag.find_first_not_of(" \t\r\n=", at + attribute.size());
        if (isName && quote != std::string_view::npos && (tag[quote] == '"' || tag[quote] == '\'')) {
            return pixelsOf(std::string(tag.substr(quote + 1, tag.find(tag[quote], quote + 1) - quote - 1)));
        }
    }
    return 0;
}

PictureSize sizeOfSvg(const fl::Bytes& picture) {
    const std::string text = textIn(picture);
    const std::size_t begin = text.find("<svg");
    if (begin == std::string::npos) {
        return {text.find(":svg") == std::string::npos ? PictureSize::Kind::NoPicture : PictureSize::Kind::Unknown};
    }
    const std::string_view tag = std::string_view(text).substr(begin, text.find('>', begin) - begin);
    return {PictureSize::Kind::Known, lengthIn(tag, "width"), lengthIn(tag, "height")};
}

constexpr struct {
    std::string_view start;
    std::size_t at;
    PictureSize (*read)(const Header& header);
} kFormats[] = {{"\x89PNG\r\n\x1A\n", 0, sizeOfPng},
                {"\xFF\xD8\xFF", 0, sizeOfJpeg},
                {"GIF8", 0, sizeOfGif},
                {"BM", 0, sizeOfBmp},
                {"WEBP", 8, sizeOfWebp},
                // AVIF, and icons: no flowbook should hold them, but browsers decode them under any name.
                {"ftyp", 4, [](const Header&) { return PictureSize{PictureSize::Kind::Unknown}; }},
                {{"\0\0\1\0", 4}, 0, [](const Header&) { return PictureSize{PictureSize::Kind::Unknown}; }}};

}  // namespace

PictureSize sizeOfPicture(const fl::Bytes& picture) {
    const Header header(picture);
    for (const auto& format : kFormats) {
        if (header.size() > format.at && startsWith(header.text().substr(format.at), format.start)) {
            return format.read(header);
        }
    }
    return sizeOfSvg(picture);
}

}  // namespace flowbook::kit
