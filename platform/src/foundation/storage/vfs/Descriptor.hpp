#pragma once

#include <cerrno>
#include <string>
#include <unistd.h>
#include <utility>

namespace foundation::storage::vfs {

/// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Descriptor() { reset(); }

    explicit operator bool() const noexcept { return descriptor_ != -1; }
    int get() const noexcept { return descriptor_; }
    int release() noexcept { return std::exchange(descriptor_, -1); }

    void reset(int descriptor = -1) noexcept {
        const int old = std::exchange(descriptor_, descriptor);
        if (old != -1) {
            ::close(old);
        }
    }

private:
    int descriptor_ = -1;
};

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
