#pragma once

#include "foundation/storage/vfs/StorageSystemReference.hpp"

#include <string>
#include <string_view>

namespace flowbook::kit {

/// The number of the form that textForm() writes; another one with each change of it, so that texts of an earlier form
/// that somebody keeps can be distinguished.
inline constexpr unsigned kTextFormVersion = 4;

/// A flowbook as lines of UTF-8, made for comparing: the form of the code, the properties, a line for each part
/// (pictures decoded) with type, size and SHA-256, the relationships, then prose and code in document order, and
/// outputs. A paragraph of prose begins with its style in brackets, or "[]"; lines of code are indented by two blanks,
/// further lines of one code paragraph among others by ": ". Everything is sorted that a container may hold in any
/// order, and the time of the last modification is left out, so two files give the same text exactly when their
/// contents are the same (see contentDigest()).
///
/// What is printed in full has no size or digest, so that one changed line is one difference: plain code, properties,
/// outputs. Of rich code the digest is that of its markup, without the paragraphs that the lines hold; behind a
/// paragraph of prose in other than the plainest markup stands "[markup ...]" with a digest of its own.
///
/// What cannot be read is one line in brackets, such as "[damaged: reason]" or "[encrypted, 512 bytes, sha256 ...]".
/// Control characters are escapes. @param outputs  whether outputs are printed; their parts have digests otherwise.
/// @throws std::bad_alloc only.
std::string textForm(const std::u16string& name, const foundation::storage::vfs::StorageSystemReference& storage,
                     bool outputs = true);

/// Control characters, which a terminal might obey, as escapes; tabs stay. The result is UTF-8.
std::string withoutControls(std::string_view utf8);

}  // namespace flowbook::kit
