#pragma once

#include <cerrno>
#include <string>

namespace foundation::storage::vfs {

/// Repeats a system call that a signal interrupted; returns what it returned at last.
template <class Call>
auto retryInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Throws the StorageError for errno: "cannot <action> "<path>": <the system's reason>".
[[noreturn]] void throwErrno(const char* action, const std::string& path);

}  // namespace foundation::storage::vfs
