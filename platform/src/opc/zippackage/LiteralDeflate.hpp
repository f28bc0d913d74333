#pragma once

#include <cstddef>
#include <string_view>

namespace opc::zippackage {

/// Deflates without looking for repetitions: each byte becomes a Huffman code of its own. For bytes without
/// repetitions, as the base64 of compressed pictures is, that comes out as small as with a search, in a twentieth of
/// the time.
/// @param content  not empty.
/// @param to       has room for `capacity` bytes and 8 more, which may be written to.
/// @returns the size of the result, a plain deflate stream; 0 when it is larger than `capacity`.
std::size_t deflateLiterals(std::string_view content, char* to, std::size_t capacity) noexcept;

/// Returns how many bytes the codes of a content that is not empty take, without what describes the codes.
std::size_t literalCodesSize(std::string_view content) noexcept;

/// Whether bytes are spread as evenly as if at least 48 of their values were equally frequent: those of base64 are,
/// with 64 of them, and those of text are not.
bool areBytesEvenlySpread(std::string_view bytes) noexcept;

}  // namespace opc::zippackage
