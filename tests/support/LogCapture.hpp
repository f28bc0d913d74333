#pragma once

#include "foundation/log/basic_diagnostic_logger.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace support {

/// Enables diagnostic levels and takes down the records, as "level text", while it lives; all must be of one channel.
class LogCapture {
public:
    explicit LogCapture(unsigned levels, const std::string& channel = "flowbook::logging") {
        sink_->locked_backend()->channel = channel;
        boost::log::core::get()->add_sink(sink_);
        foundation::log::set_enabled_levels(levels, foundation::log::diagnostic_output::host_sinks);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture() {
        foundation::log::set_enabled_levels(0);
        boost::log::core::get()->remove_sink(sink_);
    }

    const std::vector<std::string>& lines() const { return sink_->locked_backend()->lines; }

private:
    struct Backend : boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
        void consume(const boost::log::record_view& record) {
            using boost::log::extract_or_default;
            EXPECT_EQ(extract_or_default<std::string>("Channel", record, std::string()), channel);
            lines.push_back(std::to_string(extract_or_default<unsigned>("Level", record, 0U)) + " " +
                            extract_or_default<std::string>("Message", record, std::string()));
        }
        std::string channel;
        std::vector<std::string> lines;
    };
    boost::shared_ptr<boost::log::sinks::synchronous_sink<Backend>> sink_ =
        boost::make_shared<boost::log::sinks::synchronous_sink<Backend>>(boost::make_shared<Backend>());
};

}  // namespace support
