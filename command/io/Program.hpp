#pragma once

#include "terminal/Bytes.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace flowbook::tool {

/// Sets the signals as this command needs them, and remembers how its caller had set them: programs that it runs get
/// them like that. A file that may not grow further (SIGXFSZ) becomes an error like a full disk, and children can be
/// waited for even if the caller ignores SIGCHLD. To be called once, before there are threads.
void takeOverSignals();

/// Runs another program, found by PATH, with this one's input and output, and returns its exit code. A signal that
/// asks this process to end, and waits until something temporary is removed, is passed on to the program.
/// @param command  the program and its arguments.
/// @throws Failure when it cannot be started or is ended by a signal; Interrupted when this process is to end.
int runProgram(std::vector<std::string> command);

/// What a program printed on its standard output, and how it ended.
struct Answer {
    int code = 0;
    std::string output;
};

/// Runs a program as runProgram() does and takes what it prints. @throws as runProgram().
Answer askProgram(std::vector<std::string> command);

/// A program that answers what it is asked, one question after the other. Each call throws Failure when the program has
/// ended or cannot be reached.
class Conversation {
public:
    /// Starts the program. @param command  the program and its arguments.
    explicit Conversation(std::vector<std::string> command);
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;
    /// Ends the conversation, at which the program is expected to end.
    ~Conversation();

    void send(std::string_view text);

    /// @returns the line without its end.
    std::string readLine();

    /// Takes so many bytes from the answer. @returns the first `most` of them.
    Bytes read(std::uint64_t size, std::uint64_t most);

private:
    void fill();

    std::string program_;
    int socket_ = -1;
    pid_t process_ = -1;
    std::string buffer_;    ///< of what came, at most one block
    std::size_t used_ = 0;  ///< so much of the buffer was taken
};

}  // namespace flowbook::tool
