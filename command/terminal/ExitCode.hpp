#pragma once

#include "flowbook/FlowbookExceptions.hpp"

namespace flowbook::tool {

/// What the command ends with; of several, the highest.
enum class ExitCode {
    Fine = 0,
    NegativeFinding = 1,  ///< the question was answered, with no
    Usage = 2,
    InputOutput = 3,
    Damaged = 4,  ///< not a flowbook, or not what it claims to be
    Encrypted = 5,
    LimitExceeded = 6
};

/// Returns the kind of failure that a code stands for, where nothing more exact is known. Requires a failure.
constexpr FlowbookErrorKind kindOf(ExitCode code) noexcept {
    switch (code) {
    case ExitCode::Usage:
        return FlowbookErrorKind::Misuse;
    case ExitCode::Damaged:
        return FlowbookErrorKind::Damaged;
    case ExitCode::Encrypted:
        return FlowbookErrorKind::Encrypted;
    case ExitCode::LimitExceeded:
        return FlowbookErrorKind::LimitExceeded;
    case ExitCode::InputOutput:
        return FlowbookErrorKind::InputOutput;
    default:
        return FlowbookErrorKind::Absent;
    }
}

/// Returns the code that the command ends with after a failure of the kind.
constexpr ExitCode exitCodeOf(FlowbookErrorKind kind) noexcept {
    switch (kind) {
    case FlowbookErrorKind::Damaged:
    case FlowbookErrorKind::Misuse:  // of the library, with what the file holds
        return ExitCode::Damaged;
    case FlowbookErrorKind::LimitExceeded:
        return ExitCode::LimitExceeded;
    case FlowbookErrorKind::Encrypted:
        return ExitCode::Encrypted;
    case FlowbookErrorKind::Absent:
        return ExitCode::NegativeFinding;
    default:
        return ExitCode::InputOutput;
    }
}

}  // namespace flowbook::tool
