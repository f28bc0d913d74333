#pragma once

#include <string>
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

}  // namespace flowbook::tool
