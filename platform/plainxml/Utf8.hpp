#pragma once

namespace plainxml {

/// The XML character whose UTF-8 sequence of several bytes starts at `at`, which is moved behind it. 0, which is none,
/// when the bytes are no such sequence (RFC 3629) or the character is none that XML permits.
char32_t takeMultiByte(const char*& at, const char* end) noexcept;

/// The character that a reference at `at` ("&lt;", "&#228;") stands for, which is moved behind it; 0 when it is none.
char32_t takeReference(const char*& at, const char* end) noexcept;

}  // namespace plainxml
