// Diagnostics, silent by default. A message that is not enabled costs one load of a mask and forms no text. A
// failure to log loses the message and never the work of the caller.
#include "foundation/log/basic_diagnostic_logger.hpp"

#include "foundation/log/LogOutput.hpp"

#include <cstdlib>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

namespace foundation::log {
namespace {

/// Returns the mask that the environment asks for; a value that is no number asks for none.
unsigned maskFromEnvironment() noexcept {
    const char* const text = std::getenv("PX_DIAGNOSTIC_LEVELS");
    char* end = nullptr;
    const unsigned long mask = text == nullptr ? 0 : std::strtoul(text, &end, 10);
    return end != nullptr && *end == '\0' ? static_cast<unsigned>(mask) : 0;
}

}  // namespace

namespace detail {
std::atomic<unsigned> enabledLevels{0};
}  // namespace detail

namespace {

/// Whether the environment has enabled levels and nothing was logged since: the sink on the standard error is still to
/// be registered. Nothing is loaded for it while the library itself is being loaded.
std::atomic<bool> isErrorOutputDue{false};

bool enableFromEnvironment() noexcept {
    const unsigned mask = maskFromEnvironment();
    isErrorOutputDue = mask != 0;
    detail::enabledLevels.store(mask, std::memory_order_relaxed);
    return true;
}

[[maybe_unused]] const bool kEnabledFromEnvironment = enableFromEnvironment();

}  // namespace

void set_enabled_levels(unsigned mask, diagnostic_output output) {
    if (mask != 0) {
        logOutput().setErrorOutput(output == diagnostic_output::standard_error);
        isErrorOutputDue = false;
    }
    detail::enabledLevels.store(mask, std::memory_order_relaxed);
}

diagnostic_record::diagnostic_record() noexcept = default;
diagnostic_record::diagnostic_record(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
diagnostic_record::diagnostic_record(diagnostic_record&&) noexcept = default;

diagnostic_record::~diagnostic_record() {
    if (impl_ == nullptr) {
        return;
    }
    try {
        impl_->emit();
    } catch (...) {  // the message is lost, the caller's work is not
        impl_.reset();
    }
}

std::ostream& diagnostic_record::stream() { return impl_->stream(); }

class PXPLATFORM_LOCAL basic_diagnostic_logger::Impl {
public:
    explicit Impl(std::string channel) : channel_(std::move(channel)) {}

    std::unique_ptr<diagnostic_record::Impl> open(unsigned level) { return source().open(level); }

private:
    /// Made when it is first needed, as that loads the log. A failure leaves the next call to try again.
    LogSource& source() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!source_) {
            source_ = logOutput().makeSource(channel_);
        }
        if (isErrorOutputDue) {
            logOutput().setErrorOutput(true);
            isErrorOutputDue = false;
        }
        return *source_;
    }

    std::string channel_;
    std::mutex mutex_;
    std::unique_ptr<LogSource> source_;
};

basic_diagnostic_logger::basic_diagnostic_logger(const std::string& channel) : impl_(std::make_unique<Impl>(channel)) {}

basic_diagnostic_logger::~basic_diagnostic_logger() = default;

diagnostic_record basic_diagnostic_logger::openEnabled(unsigned level) {
    try {
        return diagnostic_record(impl_->open(level));
    } catch (const std::exception&) {  // a host's filter failed, or there is no log: the message is lost, no work is
        return diagnostic_record();
    }
}

}  // namespace foundation::log
