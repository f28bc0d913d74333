#pragma once

#include "foundation/log/basic_diagnostic_logger.hpp"

namespace flowbook::detail {

inline auto& logger = *new foundation::log::basic_diagnostic_logger("flowbook::logging");

/// Bit values of the host's diagnostic facility.
enum LogLevel : unsigned { kLogContent = 4, kLogProgress = 8, kLogWriteFailure = 512 };

inline void log(LogLevel level, const char* message) {
    if (auto record = logger.open(level)) {
        record.stream() << message;
    }
}

}  // namespace flowbook::detail
