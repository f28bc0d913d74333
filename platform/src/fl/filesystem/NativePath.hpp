#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fl::filesystem {

/// A path as the system's calls take it: UTF-8, but for the units U+DC80 to U+DCFF standing alone, each of which is
/// one byte that is not UTF-8. So every path of the system has a form in UTF-16, and gets its bytes back.
/// @throws i18n::ConversionError for a NUL character and for any other lone surrogate.
std::string toNativePath(std::u16string_view path);

/// The other way round; there is no path that cannot be converted.
std::u16string fromNativePath(std::string_view path);

/// realpath(3). @returns none, and the reason in errno, when the path cannot be resolved.
std::optional<std::string> realPath(const std::string& path);

}  // namespace fl::filesystem
