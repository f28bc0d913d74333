#pragma once

#include "fl/PlatformExport.hpp"

#include <stdexcept>
#include <string>

namespace fl::filesystem {

/// Base of the failures of path operations. what() names the operation, the path and the system's
/// reason.
class PXPLATFORM_EXPORT FsysExceptionBase : public std::runtime_error {
public:
    explicit FsysExceptionBase(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace fl::filesystem
