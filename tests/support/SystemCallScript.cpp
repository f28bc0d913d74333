#include "support/SystemCallScript.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace support {
namespace {

SystemCallScript* active = nullptr;

}  // namespace

SystemCallScript::SystemCallScript() { active = this; }

SystemCallScript::~SystemCallScript() { active = nullptr; }

void SystemCallScript::fail(const std::string& call, int error, int passing) {
    failing_ = call;
    error_ = error;
    passing_ = passing;
}

int SystemCallScript::intercept(const char* call) { return active == nullptr ? 0 : active->enter(call); }

int SystemCallScript::enter(const std::string& call) {
    if (call != "write" || trace_.empty() || trace_.back() != call) {
        trace_.push_back(call);
    }
    return call == failing_ && passing_-- <= 0 ? error_ : 0;
}

}  // namespace support

namespace {

/// Makes the system call unless the script fails it.
template <class Result, class... Arguments>
Result scripted(const char* name, long number, Arguments... arguments) {
    if (const int error = support::SystemCallScript::intercept(name)) {
        errno = error;
        return -1;
    }
    return static_cast<Result>(::syscall(number, arguments...));
}

}  // namespace

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
