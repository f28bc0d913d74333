#pragma once

#include "foundation/log/basic_diagnostic_logger.hpp"

namespace flowbook::detail {

/// Never destroyed, as a host may save in the destructor of a static object.
inline auto& logger = *new foundation::log::basic_diagnostic_logger("flowbook::logging");

/// Levels of messages: bits of the mask by which the host's diagnostic facility enables them.
enum LogLevel : unsigned { kLogContent = 4, kLogProgress = 8, kLogWriteFailure = 512 };

/// The message is a constant text, so that one that is not enabled costs nothing to form.
inline void log(LogLevel level, const char* message) {
    if (auto record = logger.open(level)) {
        record.stream() << message;
    }
}

}  // namespace flowbook::detail
