#pragma once

#include <string>
#include <vector>

namespace flowbook::tool {

/// Runs another program, found by PATH, with this one's input and output, and returns its exit code.
/// @param command  the program and its arguments.
/// @param output   a file that takes its standard output; empty: this program's.
/// @throws Failure when it cannot be started or is ended by a signal.
int runProgram(std::vector<std::string> command, const std::string& output = "");

}  // namespace flowbook::tool
