#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>

namespace durability {

/// A system call of a traced process, which stands still at its entry or its exit.
struct TracedCall {
    pid_t process;
    bool entering = false;
    std::uint64_t number = 0;
    std::array<std::uint64_t, 6> arguments{};
    std::int64_t result = 0;  ///< at the exit; negative is an error

    /// False for the calls that manage memory, signals and the process.
    bool touchesFiles() const;

    /// The path by which the tracer reaches the file that the first argument is the descriptor of.
    std::string pathOfDescriptor() const;

    /// Changes a register, by its offset in user_regs_struct: of an argument or the number at the entry, of the result
    /// at the exit.
    void setRegister(std::size_t offset, std::int64_t value) const;

    void update();
};

constexpr int kKilled = -1;

/// Runs `work` in a child process and calls `watch` at the entry and the exit of each of its system calls.
/// @returns what `work` returned, or kKilled. @throws std::runtime_error when the system forbids tracing, or the
///          process crashes.
int runTraced(const std::function<int()>& work, const std::function<void(TracedCall&)>& watch);

}  // namespace durability
