#pragma once

#include "fl/PlatformExport.hpp"

#include <stdexcept>
#include <string>

namespace opc {

/// The kinds of failures. Callers decide by the kind what to do next.
enum class ErrorKind {
    NotFound,       ///< no such package or part
    InputOutput,    ///< the storage failed
    Damaged,        ///< the file is not a package, or breaks its rules
    LimitExceeded,  ///< the file is larger than the limits permit
    Conflict,       ///< another program changed the file, or what is to be created exists
    NotDurable,     ///< committed, but not confirmed to survive power loss
    Misuse          ///< an argument or the moment of the call is wrong
};

/// Base of the package library's failures. what() says what was being done, to which file and part,
/// and what was found.
class PXPLATFORM_EXPORT Exception : public std::runtime_error {
public:
    Exception(ErrorKind kind, const std::string& message);
    ~Exception() override;

    ErrorKind kind() const noexcept { return kind_; }

private:
    ErrorKind kind_;
};

}  // namespace opc
