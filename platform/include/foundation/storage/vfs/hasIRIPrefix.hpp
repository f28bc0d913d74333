#pragma once

#include "fl/PlatformExport.hpp"

#include <string>

namespace foundation::storage::vfs {

/// Whether a name begins with a scheme (RFC 3986, 3.1) followed by "://", and so is an address in a
/// storage system, not a plain path.
PXPLATFORM_EXPORT bool hasIRIPrefix(const std::u16string& name);

}  // namespace foundation::storage::vfs
