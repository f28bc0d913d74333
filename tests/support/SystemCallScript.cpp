#include "support/SystemCallScript.hpp"

#include <cerrno>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

struct {
    std::string_view call;
    int error, passing;
} failing;

/// Makes the system call unless it is to fail.
template <class Result, class... Arguments>
Result scripted(const char* name, long number, Arguments... arguments) {
    if (name == failing.call && failing.passing-- <= 0) {
        errno = failing.error;
        return -1;
    }
    return static_cast<Result>(::syscall(number, arguments...));
}

}  // namespace

void support::SystemCallScript::fail(std::string_view call, int error, int passing) {
    failing = {call, error, passing};
}

// Definitions in the executable come before those of the C library.
extern "C" {

ssize_t write(int fd, const void* from, size_t count) { return scripted<ssize_t>("write", SYS_write, fd, from, count); }

ssize_t copy_file_range(int in, off64_t* inAt, int out, off64_t* outAt, size_t count, unsigned flags) {
    return scripted<ssize_t>("copy_file_range", SYS_copy_file_range, in, inAt, out, outAt, count, flags);
}

int fchmod(int fd, mode_t mode) noexcept { return scripted<int>("fchmod", SYS_fchmod, fd, mode); }

int fsync(int fd) { return scripted<int>("fsync", SYS_fsync, fd); }

int renameat(int fromDir, const char* from, int toDir, const char* to) noexcept {
    return scripted<int>("renameat", SYS_renameat, fromDir, from, toDir, to);
}

int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) noexcept {
    return scripted<int>("renameat2", SYS_renameat2, fromDir, from, toDir, to, flags);
}

}  // extern "C"
