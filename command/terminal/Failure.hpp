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
    Failure(ExitCode code, std::string file, const std::string& message)
        : Failure(code, std::move(file), message, kindOf(code)) {}

    /// With a more exact kind than the code's. @param part  that the failure is about; empty for none.
    Failure(ExitCode code, std::string file, const std::string& message, FlowbookErrorKind kind, std::string part = {})
        : std::runtime_error(message), code_(code), kind_(kind), file_(std::move(file)), part_(std::move(part)) {}

    ExitCode code() const noexcept { return code_; }
    FlowbookErrorKind kind() const noexcept { return kind_; }

    /// Empty: the file that is being worked on.
    const std::string& file() const noexcept { return file_; }

    const std::string& part() const noexcept { return part_; }

private:
    ExitCode code_;
    FlowbookErrorKind kind_;
    std::string file_;
    std::string part_;
};

}  // namespace flowbook::tool
