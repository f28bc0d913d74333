#pragma once

#include <string>

namespace foundation::storage::vfs {

/// A storage name as the system's calls take it. @throws StorageError for what no path can be.
std::string toNativePath(const std::u16string& name);

}  // namespace foundation::storage::vfs
