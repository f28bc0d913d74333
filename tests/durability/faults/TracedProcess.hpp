#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>

namespace durability {

/// A system call of a traced process, which stands still at its entry or its exit.
class TracedCall {
public:
    explicit TracedCall(pid_t process) : process_(process) {}

    /// Learns where the process has stopped.
    void update();

    bool entering() const noexcept { return entering_; }
    std::uint64_t number() const noexcept { return number_; }
    std::uint64_t argument(std::size_t index) const { return arguments_.at(index); }
    std::int64_t result() const noexcept { return result_; }  ///< at the exit; negative is an error

    /// The path by which the tracer reaches the file behind a descriptor.
    std::string pathOf(std::uint64_t descriptor) const;

    void setArgument(std::size_t index, std::uint64_t value);  ///< at the entry; of the first three and the fifth
    void skip();                                               ///< at the entry: the call is not made
    void setResult(std::int64_t value);                        ///< at the exit
    void kill() const;

private:
    void setRegister(std::size_t offset, std::uint64_t value) const;

    pid_t process_;
    bool entering_ = false;
    std::uint64_t number_ = 0;
    std::array<std::uint64_t, 6> arguments_{};
    std::int64_t result_ = 0;
};

constexpr int kKilled = -1;

/// Runs `work` in a child process and calls `watch` at the entry and the exit of each of its system calls.
/// @returns what `work` returned, or kKilled. @throws std::runtime_error when the system forbids tracing, or the
///          process crashes.
int runTraced(const std::function<int()>& work, const std::function<void(TracedCall&)>& watch);

}  // namespace durability
