#pragma once

#include "durability/common/Place.hpp"

#include <functional>
#include <sys/types.h>
#include <sys/user.h>

namespace durability {

/// A system call of a traced process, which stands still at its entry or its exit.
struct TracedCall {
    pid_t process;
    bool entering = false;
    user_regs_struct registers{};  ///< the number in orig_rax, the result in rax; what is changed takes effect

    /// False for the calls that manage memory, signals and the process.
    bool touchesFiles() const;
};

constexpr auto kKilled = static_cast<Outcome>(-1);

/// Saves in a child process and calls `watch` at the entry and the exit of each of its system calls. The process ends
/// with the outcome as its exit code.
/// @returns how the save ended, or kKilled. @throws std::exception when the system forbids tracing, or the process
///          crashes.
Outcome saveTraced(const Scenario& scenario, const Place& place, const std::function<void(TracedCall&)>& watch);

}  // namespace durability
