#pragma once

#include "terminal/ExitCode.hpp"

#include <stdexcept>
#include <string>

namespace flowbook::tool {

/// A failure that the command finds out itself.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& message) : Failure(code, "", message) {}

    /// About another file than the one that is being worked on.
    /// @param kind  a word for programs, where there is a more exact one than the code's.
    Failure(ExitCode code, std::string file, const std::string& message, std::string kind = "")
        : std::runtime_error(message),
          code_(code),
          kind_(kind.empty() ? kindOf(code) : std::move(kind)),
          file_(std::move(file)) {}

    ExitCode code() const noexcept { return code_; }
    const std::string& kind() const noexcept { return kind_; }

    /// Empty: the file that is being worked on.
    const std::string& file() const noexcept { return file_; }

private:
    ExitCode code_;
    std::string kind_;
    std::string file_;
};

}  // namespace flowbook::tool
