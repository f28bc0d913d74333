// All that touches Boost.Log. Its core belongs to the whole process, and a host may log through it too: records of this
// library are marked by attributes, and the sink takes those only. The core is destroyed before the last calls of this
// library, which is why the end is noted and later messages are dropped.
#include "foundation/log/LogOutput.hpp"

#include <atomic>
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
#include <iostream>
#include <mutex>
#include <type_traits>
#include <utility>

namespace foundation::log {
namespace {

namespace logging = boost::log;
using ErrorSink = logging::sinks::synchronous_sink<logging::sinks::text_ostream_backend>;

const char* const kChannel = "Channel";
const char* const kLevel = "Level";

/// Hosts may log on their own through the same core; the sink leaves their records to them.
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

/// Whether the static objects of the log core may be gone. Calls of this library can come later, from destructors of
/// the host, and must then be silent.
std::atomic<bool> logHasEnded{false};

/// Registers the handler that notes the end. Handlers run in the reverse order of their registration, so all objects of
/// the log core that are needed are touched first: their destructors then run later than the handler.
bool registerEnd() {
    logging::core::get();
    const logging::attribute_name names[] = {kChannel, kLevel, logging::expressions::tag::smessage::get_name()};
    return std::size(names) != 0 && ::on_exit([](int, void*) { logHasEnded = true; }, nullptr) == 0;
}

class BoostRecord final : public diagnostic_record::Impl {
public:
    explicit BoostRecord(logging::record record) : record_(std::move(record)), stream_(record_) {}

    std::ostream& stream() override { return stream_.stream(); }

    void emit() override {
        stream_.flush();
        logging::core::get()->push_record(std::move(record_));
    }

private:
    logging::record record_;
    logging::record_ostream stream_;
};

class BoostSource final : public LogSource {
public:
    explicit BoostSource(const std::string& channel) {
        source_.add_attribute(kChannel, logging::attributes::constant<std::string>(channel));
        source_.add_attribute(kLevel, logging::attributes::make_function([this] { return level_; }));
    }

    std::unique_ptr<diagnostic_record::Impl> open(unsigned level) override {
        if (logHasEnded) {
            return nullptr;
        }
        logging::record record = openRecord(level);
        return record ? std::make_unique<BoostRecord>(std::move(record)) : nullptr;
    }

private:
    /// The record takes its level from the source, so that no other thread may come between setting it and opening.
    logging::record openRecord(unsigned level) {
        const std::lock_guard<std::mutex> lock(mutex_);
        level_ = level;
        return source_.open_record();
    }

    std::mutex mutex_;
    unsigned level_ = 0;
    logging::sources::logger source_;
};

// Never deleted through its base.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class BoostLog final : public LogOutput {
public:
    void setErrorOutput(bool wanted) const override {
        static std::mutex mutex;
        static auto& sink = *new boost::shared_ptr<ErrorSink>();
        const std::lock_guard<std::mutex> lock(mutex);
        if (logHasEnded || wanted == (sink != nullptr)) {
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

    std::unique_ptr<LogSource> makeSource(const std::string& channel) const override {
        return std::make_unique<BoostSource>(channel);
    }
};

}  // namespace

const LogOutput* pxplatform_log() {
    [[maybe_unused]] static const bool isEndRegistered = registerEnd();
    static_assert(std::is_trivially_destructible_v<BoostLog>);
    static const BoostLog only;
    return &only;
}

/// Where the module's objects are linked instead of loaded.
const LogOutput& logOutput() { return *pxplatform_log(); }

}  // namespace foundation::log
