#pragma once

#include <string>
#include <sys/stat.h>

namespace foundation::storage::vfs {

/// Gives an open file the user attributes, owner, ACL and mode of another one. Where the owner or the ACL cannot be
/// kept, the mode is narrowed, so that no user gets more access to the copy than to the original.
void copyAttributes(int from, int to, const std::string& path);

/// Sets the permission bits. @param path  names the file in errors. @throws StorageError
void setMode(int descriptor, mode_t mode, const std::string& path);

/// fstat(2). @param path  names the file in errors. @throws StorageError
struct stat statusOf(int descriptor, const std::string& path);

/// The permission bits, setuid, setgid and sticky included. @throws StorageError
mode_t modeOf(int descriptor, const std::string& path);

}  // namespace foundation::storage::vfs
