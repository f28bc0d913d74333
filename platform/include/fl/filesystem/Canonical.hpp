#pragma once

#include "fl/PlatformExport.hpp"

#include <string>

namespace fl::filesystem {

/// The absolute form of an existing path, without symbolic links, "." and "..". A byte of it that is
/// not UTF-8 is a unit of its own, U+DC80 to U+DCFF, which stands for the byte in paths given too.
/// @param base  what a relative path starts from; empty means the working directory.
/// @throws FsysExceptionBase when the path does not exist or cannot be resolved, or when it is not
///         well-formed UTF-16 but for such units.
PXPLATFORM_EXPORT std::u16string canonical(const std::u16string& path, const std::u16string& base);

}  // namespace fl::filesystem
