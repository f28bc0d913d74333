#pragma once

#include "fl/Bytes.hpp"

#include <cstdint>

namespace flowbook::kit {

/// How large a picture is shown, by its first bytes: decoding it takes memory in proportion, however few bytes it
/// has.
struct PictureSize {
    enum class Kind {
        Known,
        Unknown,   ///< a picture that a browser may decode, of a size that cannot be read
        NoPicture  ///< begins as none that a browser would decode
    };

    Kind kind = Kind::NoPicture;
    std::uint64_t width = 0;  ///< pixels; 0 where an SVG picture does not say
    std::uint64_t height = 0;

    std::uint64_t pixels() const noexcept { return width * height; }
};

/// For PNG, JPEG, GIF, BMP, WebP and SVG, recognised by their first bytes, as browsers do it, not by their media types.
PictureSize sizeOfPicture(const fl::Bytes& picture);

}  // namespace flowbook::kit
