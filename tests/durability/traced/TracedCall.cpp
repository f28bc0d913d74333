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

constexpr int kTracingForbidden = 125;
constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;

void check(bool done) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), "cannot trace a process");
    }
}

int waitFor(pid_t process) {
    int status = 0;
    check(::waitpid(process, &status, 0) != -1);
    return status;
}

[[noreturn]] void runChild(const std::function<int()>& work) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == -1) {
        ::_exit(kTracingForbidden);
    }
    ::raise(SIGSTOP);
    ::_exit(work());
}

pid_t start(const std::function<int()>& work) {
    const pid_t process = ::fork();
    if (process == 0) {
        runChild(work);
    }
    if (process == -1 || !WIFSTOPPED(waitFor(process)) ||
        ::ptrace(PTRACE_SETOPTIONS, process, nullptr, kOptions) == -1) {
        throw std::runtime_error("ptrace(2) is not permitted here; without it nothing of this can be tested");
    }
    return process;
}

}  // namespace

bool TracedCall::touchesFiles() const {
    // Of these, getrandom never fails on a running system, and the C library ends the process if it does.
    static constexpr std::uint64_t kOthers[] = {
        SYS_brk,     SYS_clock_gettime, SYS_exit_group, SYS_futex,  SYS_getpid, SYS_getrandom,     SYS_gettid,
        SYS_madvise, SYS_mmap,          SYS_mprotect,   SYS_mremap, SYS_munmap, SYS_rt_sigprocmask};
    return std::find(std::begin(kOthers), std::end(kOthers), number) == std::end(kOthers);
}

std::string TracedCall::pathOfDescriptor() const {
    return "/proc/" + std::to_string(process) + "/fd/" + std::to_string(arguments[0]);
}

void TracedCall::setRegister(std::size_t offset, std::int64_t value) const {
    check(::ptrace(PTRACE_POKEUSER, process, offset, value) != -1);
}

void TracedCall::update() {
    __ptrace_syscall_info info{};
    check(::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) != -1);
    entering = info.op == PTRACE_SYSCALL_INFO_ENTRY;
    if (entering) {
        number = info.entry.nr;
        std::copy(std::begin(info.entry.args), std::end(info.entry.args), arguments.begin());
    } else {
        result = info.exit.rval;
    }
}

int runTraced(const std::function<int()>& work, const std::function<void(TracedCall&)>& watch) {
    TracedCall call{start(work)};
    for (;;) {
        ::ptrace(PTRACE_SYSCALL, call.process, nullptr, nullptr);  // of a killed process, the wait then tells
        const int status = waitFor(call.process);
        if (WIFEXITED(status)) {
            return WEXITSTATUS(status);
        }
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            return kKilled;
        }
        if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80)) {
            ::kill(call.process, SIGKILL);
            throw std::runtime_error("the traced process got a signal: wait status " + std::to_string(status));
        }
        call.update();
        watch(call);
    }
}

}  // namespace durability
