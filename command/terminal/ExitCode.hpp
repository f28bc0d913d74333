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

/// The word for a code in JSON, where nothing more exact is known.
constexpr const char* kindOf(ExitCode code) noexcept {
    constexpr const char* kKinds[] = {"fine", "finding", "misuse", "input-output", "damaged", "encrypted", "limit"};
    return kKinds[static_cast<int>(code)];
}

}  // namespace flowbook::tool
