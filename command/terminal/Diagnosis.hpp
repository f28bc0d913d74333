#pragma once

#include "terminal/ExitCode.hpp"

#include <string>

namespace flowbook::tool {

/// What a failure means to the user.
struct Diagnosis {
    ExitCode code;
    FlowbookErrorKind kind;
    std::string file;  ///< empty: the file that was being worked on
    std::string message;
    std::string part{};  ///< that the failure is about; empty for none
};

/// Judges the exception that is being handled.
Diagnosis diagnose();

}  // namespace flowbook::tool
