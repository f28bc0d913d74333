#pragma once

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

}  // namespace flowbook::tool
