#include "foundation/log/basic_diagnostic_logger.hpp"

#include <boost/core/null_deleter.hpp>
#include <boost/log/attributes/constant.hpp>
#include <boost/log/attributes/function.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/logger.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <mutex>
#include <string>
#include <utility>

namespace foundation::log {
namespace {

namespace logging = boost::log;
using ErrorSink = logging::sinks::synchronous_sink<logging::sinks::text_ostream_backend>;

const char* const kChannel = "Channel";
const char* const kLevel = "Level";

/// Hosts may log on their own through the same core; their records are not ours to print.
bool isDiagnostic(const logging::attribute_value_set& values) {
    return values.count(kChannel) != 0 && logging::extract<unsigned>(kLevel, values);
}

void formatRecord(const logging::record_view& record, logging::formatting_ostream& to) {
    to << logging::extract_or_default<std::string>(kChannel, record, std::string()) << " ["
       << logging::extract_or_default<unsigned>(kLevel, record, 0U) << "] " << record[logging::expressions::smessage];
}

boost::shared_ptr<ErrorSink> makeErrorSink() {
    const auto backend = boost::make_shared<logging::sinks::text_ostream_backend>();
    backend->add_stream(boost::shared_ptr<std::ostream>(&std::cerr, boost::null_deleter()));
    backend->auto_flush(true);
    auto sink = boost::make_shared<ErrorSink>(backend);
    sink->set_filter(&isDiagnostic);
    sink->set_formatter(&formatRecord);
    return sink;
}

/// Registers or takes away the sink on the standard error.
void setErrorOutput(bool wanted) {
    static std::mutex mutex;
    static auto& sink = *new boost::shared_ptr<ErrorSink>();
    const std::lock_guard<std::mutex> lock(mutex);
    if (wanted == (sink != nullptr)) {
        return;
    }
    if (wanted) {
        auto created = makeErrorSink();
        logging::core::get()->add_sink(created);
        sink = std::move(created);
    } else {
        logging::core::get()->remove_sink(sink);
        sink.reset();
    }
}

/// The mask that the environment asks for; what is not a number asks for nothing.
unsigned maskFromEnvironment() {
    const char* const text = std::getenv("PX_DIAGNOSTIC_LEVELS");
    char* end = nullptr;
    const unsigned long mask = text == nullptr ? 0 : std::strtoul(text, &end, 10);
    return end != nullptr && *end == '\0' ? static_cast<unsigned>(mask) : 0;
}

/// Runs as the library is loaded, where an exception would end the process.
bool enableFromEnvironment() noexcept {
    try {
        set_enabled_levels(maskFromEnvironment());
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

namespace detail {
std::atomic<unsigned> enabledLevels{0};
}  // namespace detail

namespace {

/// The log core is a library with static objects, of which the process destroys some before the last calls of this
/// library, which then have to be silent.
std::atomic<bool> logHasEnded{false};

/// Handlers run in the reverse order of their registration, so those of the objects that are touched here run later.
bool registerEnd() noexcept {
    try {
        logging::core::get();
        const logging::attribute_name names[] = {kChannel, kLevel, logging::expressions::tag::smessage::get_name()};
        return std::size(names) != 0 && ::on_exit([](int, void*) { logHasEnded = true; }, nullptr) == 0;
    } catch (...) {
        return false;
    }
}

[[maybe_unused]] const bool kEndIsRegistered = registerEnd();
[[maybe_unused]] const bool kEnabledFromEnvironment = enableFromEnvironment();

}  // namespace

void set_enabled_levels(unsigned mask, diagnostic_output output) {
    if (mask != 0 && !logHasEnded) {
        setErrorOutput(output == diagnostic_output::standard_error);
    }
    detail::enabledLevels.store(mask, std::memory_order_relaxed);
}

class PXPLATFORM_LOCAL diagnostic_record::Impl {
public:
    explicit Impl(logging::record record) : record_(std::move(record)), stream_(record_) {}

    std::ostream& stream() { return stream_.stream(); }

    void emit() {
        stream_.flush();
        logging::core::get()->push_record(std::move(record_));
    }

private:
    logging::record record_;
    logging::record_ostream stream_;
};

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
    explicit Impl(const std::string& channel) {
        source_.add_attribute(kChannel, logging::attributes::constant<std::string>(channel));
        source_.add_attribute(kLevel, logging::attributes::make_function([this] { return level_; }));
    }

    /// The record takes its level from the source, so that no other thread may come between setting it and opening.
    logging::record open(unsigned level) {
        const std::lock_guard<std::mutex> lock(mutex_);
        level_ = level;
        return source_.open_record();
    }

private:
    std::mutex mutex_;
    unsigned level_ = 0;
    logging::sources::logger source_;
};

basic_diagnostic_logger::basic_diagnostic_logger(const std::string& channel) : impl_(std::make_unique<Impl>(channel)) {}

basic_diagnostic_logger::~basic_diagnostic_logger() = default;

diagnostic_record basic_diagnostic_logger::openEnabled(unsigned level) {
    if (logHasEnded) {
        return diagnostic_record();
    }
    try {
        logging::record record = impl_->open(level);
        return record ? diagnostic_record(std::make_unique<diagnostic_record::Impl>(std::move(record)))
                      : diagnostic_record();
    } catch (const std::exception&) {  // a host's filter failed: the message is lost, the caller's work is not
        return diagnostic_record();
    }
}

}  // namespace foundation::log
