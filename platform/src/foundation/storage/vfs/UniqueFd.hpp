#pragma once

#include <unistd.h>
#include <utility>

namespace foundation::storage::vfs {

/// Owns a file descriptor.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor) noexcept : descriptor_(descriptor) {}
    UniqueFd(UniqueFd&& other) noexcept : descriptor_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueFd() { reset(); }

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

}  // namespace foundation::storage::vfs
