// Runs other programs: git, diff, editors, browsers. Whether a program can be run is only known in the new process,
// which reports it through a pipe that a successful exec closes; so a missing program is an error with a reason, not
// exit code 127.
#include "io/Program.hpp"

#include "io/Interruption.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace flowbook::tool {

namespace {

/// The signals that this command may set otherwise than its caller did.
constexpr int kTakenOver[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGXFSZ, SIGCHLD};

struct sigaction callers[std::size(kTakenOver)];
bool isTakenOver = false;

[[noreturn]] void fail(const std::string& program, int error) {
    throw Failure(ExitCode::InputOutput, "cannot run " + program + ": " + std::generic_category().message(error));
}

/// A pipe whose ends no other program inherits.
class Pipe {
public:
    Pipe() {
        if (::pipe2(ends_, O_CLOEXEC) != 0) {
            fail("a program", errno);
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        closeWriting();
        ::close(ends_[0]);
    }

    int writing() const noexcept { return ends_[1]; }

    void closeWriting() noexcept {
        if (ends_[1] != -1) {
            ::close(ends_[1]);
        }
        ends_[1] = -1;
    }

    /// What comes until all writing ends are closed.
    std::string readAll() const {
        std::string all;
        char block[4096];
        for (;;) {
            const ssize_t count = ::read(ends_[0], block, sizeof block);
            if (count > 0) {
                all.append(block, static_cast<std::size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                return all;
            }
        }
    }

private:
    int ends_[2] = {-1, -1};
};

/// A program gets the signals as this command got them: an editor has to stop at Ctrl-C as it always does.
void restoreSignals() {
    for (std::size_t i = 0; isTakenOver && i < std::size(kTakenOver); ++i) {
        ::sigaction(kTakenOver[i], &callers[i], nullptr);
    }
}

/// In the new process, which may only make system calls. @param input, output  become its standard input and output
/// unless they are -1.
[[noreturn]] void become(char* const* arguments, int input, int output, int report) {
    restoreSignals();
    if ((input == -1 || ::dup2(input, STDIN_FILENO) != -1) && (output == -1 || ::dup2(output, STDOUT_FILENO) != -1)) {
        ::execvp(arguments[0], arguments);
    }
    const int error = errno;
    const ssize_t ignored = ::write(report, &error, sizeof error);
    static_cast<void>(ignored);
    ::_exit(127);
}

/// @throws Failure when the program cannot be started.
pid_t start(std::vector<std::string>& command, int output, int input = -1) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    Pipe report;
    const pid_t process = ::fork();
    if (process == 0) {
        become(arguments.data(), input, output, report.writing());
    }
    if (process < 0) {
        fail(command.front(), errno);
    }
    report.closeWriting();
    // The pipe is closed by a successful exec, so it is empty then; otherwise it has the child's errno.
    const std::string error = report.readAll();
    if (error.size() == sizeof(int)) {
        ::waitpid(process, nullptr, 0);
        fail(command.front(), *reinterpret_cast<const int*>(error.data()));
    }
    return process;
}

int waitFor(pid_t process, const std::string& program) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            fail(program, errno);
        }
        // The program may not have got the signal itself, if it was sent to this process alone.
        if (Interruption::hasCome()) {
            ::kill(process, Interruption::signal());
        }
    }
    Interruption::check();
    if (!WIFEXITED(status)) {
        throw Failure(ExitCode::InputOutput, program + " was ended by signal " + std::to_string(WTERMSIG(status)));
    }
    return WEXITSTATUS(status);
}

}  // namespace

void takeOverSignals() {
    for (std::size_t i = 0; i < std::size(kTakenOver); ++i) {
        ::sigaction(kTakenOver[i], nullptr, &callers[i]);
    }
    isTakenOver = true;
    std::signal(SIGXFSZ, SIG_IGN);
    // Where the caller ignores it, the kernel drops the exit codes of programs before they can be asked for.
    std::signal(SIGCHLD, SIG_DFL);
}

int runProgram(std::vector<std::string> command) {
    const pid_t process = start(command, -1);
    return waitFor(process, command.front());
}

Answer askProgram(std::vector<std::string> command) {
    Pipe pipe;
    const pid_t process = start(command, pipe.writing());
    pipe.closeWriting();
    std::string output = pipe.readAll();
    return {waitFor(process, command.front()), std::move(output)};
}

Conversation::Conversation(std::vector<std::string> command) : program_(command.front()) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        fail(program_, errno);
    }
    socket_ = ends[0];
    try {
        process_ = start(command, ends[1], ends[1]);
    } catch (...) {
        ::close(ends[0]);
        ::close(ends[1]);
        throw;
    }
    ::close(ends[1]);
}

Conversation::~Conversation() {
    ::close(socket_);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void Conversation::send(std::string_view text) {
    while (!text.empty()) {
        // A program that has ended must not end this one by SIGPIPE.
        const ssize_t count = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            throw Failure(ExitCode::InputOutput, program_ + " ended before it was asked all");
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

/// Takes the next block of the answer, when all of the last one is used.
void Conversation::fill() {
    buffer_.resize(std::size_t{64} << 10);
    used_ = 0;
    ssize_t count = -1;
    do {
        Interruption::check();
        count = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
    } while (count < 0 && errno == EINTR);
    buffer_.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (buffer_.empty()) {
        throw Failure(ExitCode::InputOutput, program_ + " ended before it had answered");
    }
}

std::string Conversation::readLine() {
    std::string line;
    for (;;) {
        const std::size_t end = buffer_.find('\n', used_);
        line.append(buffer_, used_, end == std::string::npos ? end : end - used_);
        used_ = end == std::string::npos ? buffer_.size() : end + 1;
        if (end != std::string::npos) {
            return line;
        }
        fill();
    }
}

Bytes Conversation::read(std::uint64_t size, std::uint64_t most) {
    Bytes content;
    content.reserve(static_cast<std::size_t>(std::min(size, most)));
    while (size > 0) {
        if (used_ == buffer_.size()) {
            fill();
        }
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size, buffer_.size() - used_));
        const auto kept = static_cast<std::size_t>(std::min<std::uint64_t>(count, most - content.size()));
        const auto begin = buffer_.begin() + static_cast<std::ptrdiff_t>(used_);
        content.insert(content.end(), begin, begin + static_cast<std::ptrdiff_t>(kept));
        used_ += count;
        size -= count;
    }
    return content;
}

}  // namespace flowbook::tool
