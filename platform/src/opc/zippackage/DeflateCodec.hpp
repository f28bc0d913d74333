#pragma once

#include "fl/Bytes.hpp"

#include <memory>
#include <optional>
#include <string_view>

struct libdeflate_compressor;
struct libdeflate_decompressor;

namespace opc::zippackage {

/// Deflates and inflates whole entries. A content without repetitions, such as the base64 of a picture, is deflated
/// without a search for them, which takes most of the time. What deflating needs is made on first use and kept; what
/// inflating needs is kept from package to package, one for each thread. Throws std::bad_alloc only.
class DeflateCodec {
public:
    struct Inflated {
        std::size_t consumed;
        std::size_t produced;
    };

    DeflateCodec() = default;

    /// Fills `content` from the start. Nothing when the data is not valid or inflates to more than fits.
    static std::optional<Inflated> inflate(std::string_view packed, fl::Bytes& content);

    /// The deflated content, valid until the next call; empty when it would not be smaller.
    std::string_view deflate(std::string_view content);

    static std::uint32_t checksum(std::string_view content) noexcept;

private:
    struct Deleter {
        void operator()(libdeflate_compressor* compressor) const noexcept;
    };

    /// @returns the size of the deflated content, 0 when it is larger than `capacity`.
    std::size_t search(std::string_view content, std::size_t capacity);
    bool isWithoutRepetition(std::string_view content);

    std::unique_ptr<libdeflate_compressor, Deleter> compressor_;
    std::unique_ptr<char[]> packed_;
    std::size_t capacity_ = 0;
};

}  // namespace opc::zippackage
