#pragma once

#include "foundation/log/basic_diagnostic_logger.hpp"

#include <memory>
#include <string>

namespace foundation::log {

/// A record of Boost.Log that is being written.
class diagnostic_record::Impl {
public:
    virtual ~Impl() = default;
    virtual std::ostream& stream() = 0;
    virtual void emit() = 0;
};

/// What writes the records of one channel. Safe to use from several threads.
class LogSource {
public:
    virtual ~LogSource() = default;

    /// Returns null when a filter of the core rejects the record, or when the log has ended with the process.
    virtual std::unique_ptr<diagnostic_record::Impl> open(unsigned level) = 0;
};

/// What diagnostics are written with. All that touches Boost.Log lies behind this in a module: loading it takes a
/// process half a millisecond, and hardly any process ever logs.
class LogOutput {
public:
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;

    /// Registers or removes the sink on the standard error.
    virtual void setErrorOutput(bool wanted) const = 0;
    virtual std::unique_ptr<LogSource> makeSource(const std::string& channel) const = 0;

protected:
    LogOutput() = default;
    ~LogOutput() = default;
};

/// Returns the only object of its class. The first call loads the module.
/// @throws std::bad_alloc, std::runtime_error when the module cannot be loaded.
const LogOutput& logOutput();

/// The entry of the module, by a name without C++ decoration.
extern "C" PXPLATFORM_EXPORT const LogOutput* pxplatform_log();

}  // namespace foundation::log
