#pragma once

#include "inputs/Input.hpp"
#include "terminal/ExitCode.hpp"

#include <string>

namespace flowbook::tool {

/// What a failure means to the user.
struct Diagnosis {
    ExitCode code;
    std::string file;  ///< empty: the file that was being worked on
    std::string message;
};

/// Judges the exception that is being handled. Some of the library's exceptions tell no more than a
/// text; the file is then opened once more as a package, whose exceptions have a kind.
/// @param input  what was being worked on; null when it could not even be named.
Diagnosis diagnose(const Input* input);

}  // namespace flowbook::tool
