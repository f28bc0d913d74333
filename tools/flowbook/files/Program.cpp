#include "files/Program.hpp"

#include "terminal/Failure.hpp"

#include <cerrno>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace flowbook::tool {

namespace {

[[noreturn]] void fail(const std::string& program, int error) {
    throw Failure(ExitCode::InputOutput, "cannot run " + program + ": " + std::generic_category().message(error));
}

int waitFor(pid_t process, const std::string& program) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            fail(program, errno);
        }
    }
    if (!WIFEXITED(status)) {
        throw Failure(ExitCode::InputOutput, program + " was ended by signal " + std::to_string(WTERMSIG(status)));
    }
    return WEXITSTATUS(status);
}

}  // namespace

int runProgram(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    const int error = posix_spawnp(&process, arguments.front(), nullptr, nullptr, arguments.data(), environ);
    if (error != 0) {
        fail(command.front(), error);
    }
    return waitFor(process, command.front());
}

}  // namespace flowbook::tool
