#pragma once

#include "fl/PlatformExport.hpp"

#include <atomic>
#include <memory>
#include <ostream>
#include <string>

namespace foundation::log {

namespace detail {
/// The process-wide mask; read it through basic_diagnostic_logger::enabled.
PXPLATFORM_EXPORT extern std::atomic<unsigned> enabledLevels;
}  // namespace detail

/// Selects what shows the diagnostics. Boost.Log cannot report whether a host has registered sinks of its own, so the
/// host states it.
enum class diagnostic_output {
    standard_error,  ///< a sink on the standard error shows them, beside all sinks of the host
    host_sinks       ///< the sinks that the host registered, or Boost.Log's default sink where there are none
};

/// Chooses which diagnostic levels are emitted, for all channels of the process: bit values, as the
/// loggers use them, added together; 0 (the default) silences everything. The environment variable
/// PX_DIAGNOSTIC_LEVELS (a decimal number) sets the mask when the library is loaded. Records go to
/// the Boost.Log core and carry the attributes "Channel" (std::string) and "Level" (unsigned). The sink
/// on the standard error is registered by the first enabling that asks for it, and is taken away by one
/// that does not; it shows these records only, none that the host logs. Safe to call from several threads.
PXPLATFORM_EXPORT void set_enabled_levels(unsigned mask, diagnostic_output output = diagnostic_output::standard_error);

/// One message under way, or empty. Emitted, whole, when destroyed.
class PXPLATFORM_EXPORT diagnostic_record {
public:
    class Impl;
    diagnostic_record() noexcept;
    explicit diagnostic_record(std::unique_ptr<Impl> impl) noexcept;
    diagnostic_record(diagnostic_record&&) noexcept;
    diagnostic_record(const diagnostic_record&) = delete;
    diagnostic_record& operator=(const diagnostic_record&) = delete;
    diagnostic_record& operator=(diagnostic_record&&) = delete;
    /// Never throws: a sink that fails loses the message, not the caller's work.
    ~diagnostic_record();

    explicit operator bool() const noexcept { return impl_ != nullptr; }
    /// @pre  the record is not empty.
    std::ostream& stream();

private:
    std::unique_ptr<Impl> impl_;
};

/// A source of diagnostic messages on one named channel. Disabled messages cost one atomic load and
/// form no text:
///
///     if (auto record = logger.open(level)) { record.stream() << "text"; }
///
/// Safe to use from several threads.
class PXPLATFORM_EXPORT basic_diagnostic_logger {
public:
    explicit basic_diagnostic_logger(const std::string& channel);
    basic_diagnostic_logger(const basic_diagnostic_logger&) = delete;
    basic_diagnostic_logger& operator=(const basic_diagnostic_logger&) = delete;
    ~basic_diagnostic_logger();

    static bool enabled(unsigned level) noexcept {
        return (detail::enabledLevels.load(std::memory_order_relaxed) & level) != 0;
    }

    /// An empty record when the level is disabled or a filter of the core turns the message down.
    diagnostic_record open(unsigned level) { return enabled(level) ? openEnabled(level) : diagnostic_record(); }

private:
    diagnostic_record openEnabled(unsigned level);

    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace foundation::log
