#include "durability/traced/TracedCall.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace durability {
namespace {

void check(bool done) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), "cannot trace a process; is ptrace(2) permitted here?");
    }
}

int waitFor(pid_t process) {
    int status = 0;
    check(::waitpid(process, &status, 0) != -1);
    return status;
}

pid_t start(const Scenario& scenario, const Place& place) {
    const pid_t process = ::fork();
    if (process == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        ::_exit(static_cast<int>(place.save(scenario)));
    }
    check(process != -1 && WIFSTOPPED(waitFor(process)));
    check(::ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != -1);
    return process;
}

}  // namespace

bool TracedCall::touchesFiles() const {
    // Of these, getrandom never fails on a running system, and the C library ends the process if it does.
    static constexpr unsigned kOthers[] = {SYS_brk,       SYS_clock_gettime, SYS_exit_group,    SYS_futex, SYS_getpid,
                                           SYS_getrandom, SYS_gettid,        SYS_madvise,       SYS_mmap,  SYS_mprotect,
                                           SYS_mremap,    SYS_munmap,        SYS_rt_sigprocmask};
    return std::find(std::begin(kOthers), std::end(kOthers), registers.orig_rax) == std::end(kOthers);
}

Outcome saveTraced(const Scenario& scenario, const Place& place, const std::function<void(TracedCall&)>& watch) {
    TracedCall call{start(scenario, place)};
    for (;;) {
        ::ptrace(PTRACE_SYSCALL, call.process, nullptr, nullptr);  // of a killed process, the wait then tells
        const int status = waitFor(call.process);
        if (WIFEXITED(status)) {
            return static_cast<Outcome>(WEXITSTATUS(status));
        }
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            return kKilled;
        }
        if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80)) {
            ::kill(call.process, SIGKILL);
            throw std::runtime_error("the traced process got a signal: wait status " + std::to_string(status));
        }
        call.entering = !call.entering;
        check(::ptrace(PTRACE_GETREGS, call.process, nullptr, &call.registers) != -1);
        watch(call);
        ::ptrace(PTRACE_SETREGS, call.process, nullptr, &call.registers);
    }
}

}  // namespace durability
