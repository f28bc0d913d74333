#pragma once

#include "foundation/storage/vfs/StorageSystemReference.hpp"

#include <string>
#include <string_view>

namespace flowbook::kit {

/// A flowbook as lines of UTF-8, made for comparing: the form of the code, the properties, a line for each part
/// (pictures decoded) with type, size and SHA-256, the relationships, then prose and code in document order. A
/// paragraph of prose begins with its style in brackets, or "[]"; lines of code are indented by two blanks. Everything
/// is sorted that a container may hold in any order, and the time of the last modification is left out, so two files
/// give the same text exactly when their contents are the same (see contentDigest()).
///
/// What cannot be read is one line in brackets, such as "[damaged: reason]" or "[encrypted, 512 bytes, sha256 ...]".
/// Control characters are escapes. @throws std::bad_alloc only.
std::string textForm(const std::u16string& name, const foundation::storage::vfs::StorageSystemReference& storage);

/// Without control characters, which a terminal might obey; these appear as escapes, but for tabs.
std::string printable(std::string_view utf8);

}  // namespace flowbook::kit
