#pragma once

namespace plainxml {

/// Decodes the UTF-8 sequence of several bytes that starts at `at`, and moves `at` behind it.
/// @returns the character; 0, which is no XML character, when the bytes are not such a sequence (RFC 3629) or XML does
/// not permit the character.
char32_t takeMultiByte(const char*& at, const char* end) noexcept;

/// Decodes the reference at `at` ("&lt;", "&#228;"), and moves `at` behind it. @returns the character; 0 when it is not
/// a reference to an XML character.
char32_t takeReference(const char*& at, const char* end) noexcept;

}  // namespace plainxml
