#include "io/Program.hpp"

#include "terminal/Failure.hpp"

#include <cerrno>
#include <fcntl.h>
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

class Redirection {
public:
    explicit Redirection(const std::string& output) {
        posix_spawn_file_actions_init(&actions_);
        if (!output.empty()) {
            posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                             0600);
        }
    }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;
    ~Redirection() { posix_spawn_file_actions_destroy(&actions_); }

    const posix_spawn_file_actions_t* get() const noexcept { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

}  // namespace

int runProgram(std::vector<std::string> command, const std::string& output) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    const Redirection redirection(output);
    pid_t process = 0;
    const int error = posix_spawnp(&process, arguments.front(), redirection.get(), nullptr, arguments.data(), environ);
    if (error != 0) {
        fail(command.front(), error);
    }
    return waitFor(process, command.front());
}

}  // namespace flowbook::tool
