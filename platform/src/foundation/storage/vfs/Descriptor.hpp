#pragma once

#include <cerrno>
#include <string>
#include <unistd.h>
#include <utility>

namespace foundation::storage::vfs {

/// Owns a file descriptor. The only class here that closes one, so that every path out of a function closes it once.
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

/// Repeats a system call as long as a signal interrupts it; returns its last result. Not for close(2), which has closed
/// the descriptor even when it reports EINTR.
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
