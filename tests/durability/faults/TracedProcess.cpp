#include "durability/faults/TracedProcess.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace durability {
namespace {

constexpr int kTracingForbidden = 125;

int waitFor(pid_t process) {
    int status = 0;
    if (::waitpid(process, &status, 0) == -1) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for the traced process");
    }
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
        ::ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) == -1) {
        throw std::runtime_error("ptrace(2) is not permitted here; without it nothing of this can be tested");
    }
    return process;
}

}  // namespace

void TracedCall::update() {
    __ptrace_syscall_info info{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, process_, sizeof info, &info) == -1) {
        throw std::system_error(errno, std::generic_category(), "cannot look at a traced system call");
    }
    entering_ = info.op == PTRACE_SYSCALL_INFO_ENTRY;
    if (entering_) {
        number_ = info.entry.nr;
        std::copy(std::begin(info.entry.args), std::end(info.entry.args), arguments_.begin());
    } else {
        result_ = info.exit.rval;
    }
}

std::string TracedCall::pathOf(std::uint64_t descriptor) const {
    return "/proc/" + std::to_string(process_) + "/fd/" + std::to_string(static_cast<int>(descriptor));
}

void TracedCall::setRegister(std::size_t offset, std::uint64_t value) const {
    if (::ptrace(PTRACE_POKEUSER, process_, offset, value) == -1) {
        throw std::system_error(errno, std::generic_category(), "cannot change a traced system call");
    }
}

void TracedCall::setArgument(std::size_t index, std::uint64_t value) {
    constexpr std::array<std::size_t, 5> kRegisters{offsetof(user_regs_struct, rdi), offsetof(user_regs_struct, rsi),
                                                    offsetof(user_regs_struct, rdx), offsetof(user_regs_struct, r10),
                                                    offsetof(user_regs_struct, r8)};
    setRegister(kRegisters.at(index), value);
}

void TracedCall::skip() { setRegister(offsetof(user_regs_struct, orig_rax), ~std::uint64_t{0}); }

void TracedCall::setResult(std::int64_t value) {
    setRegister(offsetof(user_regs_struct, rax), static_cast<std::uint64_t>(value));
}

void TracedCall::kill() const { ::kill(process_, SIGKILL); }

int runTraced(const std::function<int()>& work, const std::function<void(TracedCall&)>& watch) {
    const pid_t process = start(work);
    TracedCall call(process);
    for (;;) {
        ::ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);  // fails for a killed process, which the wait then tells
        const int status = waitFor(process);
        if (WIFEXITED(status)) {
            return WEXITSTATUS(status);
        }
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            return kKilled;
        }
        if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80)) {
            call.kill();
            throw std::runtime_error("the traced process got a signal: wait status " + std::to_string(status));
        }
        call.update();
        watch(call);
    }
}

}  // namespace durability
